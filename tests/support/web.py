"""HTTP servers of a test's own on the loopback, well-behaved and hostile."""

import http.server
import threading


class Web:
    """Answers each path as pages has it: (status, headers, body), or a function of the request handler."""

    def __init__(self, pages, context=None):
        self.requests = []
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                outer.requests.append((self.path, self.headers.get("Authorization")))
                page = pages.get(self.path.partition("?")[0], (404, {}, b"no such page"))
                try:
                    if callable(page):
                        page(self)
                    else:
                        self.answer(*page)
                except OSError:
                    pass  # the other side has had enough

            def answer(self, status, headers, body):
                self.send_response(status)
                for name, value in ({"Content-Length": str(len(body))} | headers).items():
                    self.send_header(name, value)
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *unused):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.scheme = "https" if context else "http"
        if context:
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def url(self, path, userinfo=""):
        return f"{self.scheme}://{userinfo}127.0.0.1:{self.server.server_port}{path}"

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.server.shutdown()
        self.server.server_close()


class Taker:
    """An HTTP server that takes what is put there; a path that begins with a status is answered with it."""

    def __init__(self):
        self.taken = {}
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_PUT(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                status = self.path[1:4]
                if not status.isdigit():
                    outer.taken[self.path] = body
                self.send_response(int(status) if status.isdigit() else 201)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *unused):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def url(self, path):
        return f"http://127.0.0.1:{self.server.server_port}{path}"

    def close(self):
        self.server.shutdown()
        self.server.server_close()
