// The sender thread and its record, which it owns once it runs.
#include "ravc/commands/file_sender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>

#include "ravc/daemon/connections.h"
#include "rv/fs.h"
#include "rv/socket.h"
#include "rv/wait.h"

namespace {

struct Sender {
    const void *file = nullptr;
    size_t size = 0;
    rv_socket *listener = nullptr;
    rv_socket *accepted = nullptr;
    in_addr daemon = {};
    int patience_ms = 0;
};

void release(Sender *sender) {
    rv_socket_free(sender->accepted);
    rv_socket_free(sender->listener);
    rv_fs_munmap_file(sender->file, sender->size);
    delete sender;
}

sockaddr_in *as_ipv4(sockaddr_storage *address) {
    return address->ss_family == AF_INET ? reinterpret_cast<sockaddr_in *>(address) : nullptr;
}

bool is_from_daemon(const Sender *sender) {
    sockaddr_storage peer;
    if (rv_socket_get_peer(sender->accepted, &peer) < 0) return false;
    const sockaddr_in *ipv4 = as_ipv4(&peer);
    return ipv4 && ipv4->sin_addr.s_addr == sender->daemon.s_addr;
}

// Accepts the daemon's connection. Strangers, who get nothing, neither end the wait nor prolong it.
int accept_daemon(Sender *sender) {
    const int64_t deadline = rv_deadline(sender->patience_ms);
    for (;;) {
        const int64_t left = deadline - rv_now_ms();
        if (left < 0 || rv_socket_wait(sender->listener, 1, static_cast<int>(left)) <= 0) {
            puts("Waiting timeout, abort.");
            return -1;
        }
        sender->accepted = rv_socket_accept(sender->listener);
        if (!sender->accepted) {
            puts("accept() failed, abort.");
            return -1;
        }
        if (is_from_daemon(sender)) return 0;
        rv_socket_free(sender->accepted);
        sender->accepted = nullptr;
    }
}

void *serve(void *record) {
    auto *sender = static_cast<Sender *>(record);
    fflush(stdout);
    if (accept_daemon(sender) == 0) {
        const ssize_t sent = rv_socket_send(sender->accepted, sender->file, sender->size);
        if (sent < 0 || static_cast<size_t>(sent) < sender->size)
            printf("send() failed (expected %zu bytes, transferred %zi bytes), abort.\n", sender->size, sent);
    }
    fflush(stdout);
    release(sender);
    return nullptr;
}

// Signals are for the main thread, whose handlers may jump: the thread is born with all of them blocked.
int start_thread(Sender *sender) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, serve, sender);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error) return -1;
    pthread_detach(thread);
    return 0;
}

// Where the daemon reaches this side, with any free port, and the daemon's own address. An IPv6 connection has none.
int local_address(Sender *sender, sockaddr_storage *address) {
    const rv_socket *connection = rv_jrpcapi_socket(requests_connection());
    sockaddr_storage peer;
    if (rv_socket_get_addr(connection, address) < 0 || rv_socket_get_peer(connection, &peer) < 0) return -1;
    if (!as_ipv4(address) || !as_ipv4(&peer)) return -1;
    as_ipv4(address)->sin_port = 0;
    sender->daemon = as_ipv4(&peer)->sin_addr;
    return 0;
}

// Opens the listening socket and writes its URL. Returns null, or what is wrong.
const char *listen_for_daemon(Sender *sender, char *url) {
    sockaddr_storage address;
    if (local_address(sender, &address) < 0) return "Cannot get local address, aborting.";
    sender->listener = rv_socket_new(4);
    if (!sender->listener) return "Cannot create server socket, aborting.";
    if (rv_socket_bind(sender->listener, &address, rv_socket_addrsize(&address)) < 0 ||
        rv_socket_get_addr(sender->listener, &address) < 0)
        return "Cannot bind server socket, aborting.";
    if (rv_socket_listen(sender->listener, 1) < 0) return "Cannot set server socket to LISTEN state, aborting.";
    const sockaddr_in *bound = as_ipv4(&address);
    snprintf(url, SENDER_URL_SIZE, "netcat://%s:%d", inet_ntoa(bound->sin_addr), ntohs(bound->sin_port));
    return nullptr;
}

// Returns 0, or -1 after saying what is wrong.
int prepare(Sender *sender, const char *path, char *url) {
    if (const char *wrong = listen_for_daemon(sender, url)) {
        puts(wrong);
        return -1;
    }
    sender->file = rv_fs_mmap_file_adv(path, 0, &sender->size, 0);
    if (sender->file) return 0;
    printf("Cannot open file (%s), aborting.\n", path);
    return -1;
}

}  // namespace

int file_sender_start(const char *path, int patience_ms, char *url, size_t *size) {
    auto *sender = new Sender;
    sender->patience_ms = patience_ms;
    if (prepare(sender, path, url) == 0) {
        *size = sender->size;
        if (start_thread(sender) == 0) {
            printf("Sending file (%s, %zu bytes) via netcat (%s)...\n", path, *size, url);
            return 0;
        }
        puts("Cannot start sender thread, aborting.");
    }
    release(sender);
    *url = '\0';
    return -1;
}
