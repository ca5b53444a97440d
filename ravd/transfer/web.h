// One transfer by http, https or ftp: libcurl's, on the loop.
//
// Certificates are verified against the system's trust store (SSL_CERT_FILE and SSL_CERT_DIR are honoured). At most
// three redirects are followed, of downloads only; none leads to another kind of scheme, nor from https to http. No
// proxy, no cookie and no password file is used.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <curl/curl.h>
#include <event2/event.h>

#include "ravd/model/fault.h"

namespace ravd {

class Web {
 public:
    using Received = std::function<bool(std::string_view bytes)>;  // false: it takes no more, which ends it
    using Ended = std::function<void(Fault fault)>;                // once; the transfer may be deleted in it

    // Nothing is called from in here.
    Web(event_base *base, Ended ended);
    ~Web();
    Web(const Web &) = delete;
    Web &operator=(const Web &) = delete;

    // One of them, once: gets what stands there, of at most that many bytes; or puts content, borrowed, there.
    // False when the URL can't be used.
    bool get(const std::string &url, uint64_t most, Received received);
    bool put(const std::string &url, std::string_view content);

    uint64_t sent() const { return sent_; }

 private:
    struct Watch;

    bool begin(const std::string &url);
    static int watch_socket(CURL *, curl_socket_t socket, int what, void *self, void *watch);
    static int set_timer(CURLM *, long ms, void *self);
    static size_t take(char *bytes, size_t, size_t size, void *self);
    static size_t give(char *bytes, size_t, size_t size, void *self);
    static int rewind(void *self, curl_off_t offset, int origin);
    void act(curl_socket_t socket, int what);
    Fault fault_of(CURLcode result) const;

    event_base *base_;
    Ended ended_;
    Received received_;
    std::string_view content_;
    uint64_t sent_ = 0;
    bool is_put_ = false;
    event *timer_;
    CURLM *multi_;
    CURL *easy_;
};

}  // namespace ravd
