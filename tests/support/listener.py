"""Listening sockets that a thread of the test takes connections from."""

import socket


def stop_listening(listener, thread):
    """Closes listener, once thread has seen its end. One that still waited there would begin anew whenever a signal
    wakes it, by the descriptor's number: and serve the number's next owner."""
    listener.shutdown(socket.SHUT_RDWR)  # which fails a present accept()
    thread.join()
    listener.close()
