// A multi handle for each transfer: it goes with it, and leaves no connection behind.
#include "ravd/transfer/web.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <strings.h>

namespace ravd {

namespace {

constexpr long most_redirects = 3;
constexpr long connect_ms = 30'000;

bool is_login_refused(CURLcode result, long status) {
    return status == 401 || status == 403 || result == CURLE_LOGIN_DENIED;
}

bool is_out_of_reach(CURLcode result) {
    constexpr CURLcode codes[] = {CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT, CURLE_SSL_CONNECT_ERROR,
                                  CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_CACERT_BADFILE};
    return std::ranges::find(codes, result) != std::end(codes);
}

bool has_scheme(const std::string &url, const char *scheme) {
    const size_t length = strlen(scheme);
    return strncasecmp(url.c_str(), scheme, length) == 0 && url[length] == ':';
}

void trust(CURL *easy, CURLoption option, const char *variable) {
    const char *path = getenv(variable);
    if (path != nullptr && *path != '\0') curl_easy_setopt(easy, option, path);
}

bool prepare_library() {
    static const bool done = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return done;
}

}  // namespace

// A socket that the library waits for.
struct Web::Watch {
    event *waiting = nullptr;
    ~Watch() {
        if (waiting != nullptr) event_free(waiting);
    }
};

Web::Web(event_base *base, Ended ended) : base_(base), ended_(std::move(ended)) {
    const bool ready = prepare_library();
    multi_ = ready ? curl_multi_init() : nullptr;
    easy_ = ready ? curl_easy_init() : nullptr;
    timer_ = event_new(
        base, -1, 0, [](evutil_socket_t, short, void *self) { static_cast<Web *>(self)->act(CURL_SOCKET_TIMEOUT, 0); },
        this);
}

Web::~Web() {
    if (multi_ != nullptr && easy_ != nullptr) curl_multi_remove_handle(multi_, easy_);
    curl_easy_cleanup(easy_);
    if (multi_ != nullptr) curl_multi_cleanup(multi_);
    event_free(timer_);
}

bool Web::get(const std::string &url, uint64_t most, Received received) {
    received_ = std::move(received);
    if (!begin(url)) return false;
    curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, most_redirects);
    curl_easy_setopt(easy_, CURLOPT_REDIR_PROTOCOLS_STR, has_scheme(url, "https") ? "https" : "http,https");
    curl_easy_setopt(easy_, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(most));
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, take);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
    return curl_multi_add_handle(multi_, easy_) == CURLM_OK;
}

bool Web::put(const std::string &url, std::string_view content) {
    is_put_ = true;
    content_ = content;
    received_ = [](std::string_view) { return true; };
    if (!begin(url)) return false;
    curl_easy_setopt(easy_, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy_, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(content.size()));
    curl_easy_setopt(easy_, CURLOPT_READFUNCTION, give);
    curl_easy_setopt(easy_, CURLOPT_READDATA, this);
    curl_easy_setopt(easy_, CURLOPT_SEEKFUNCTION, rewind);
    curl_easy_setopt(easy_, CURLOPT_SEEKDATA, this);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, take);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
    return curl_multi_add_handle(multi_, easy_) == CURLM_OK;
}

bool Web::begin(const std::string &url) {
    if (multi_ == nullptr || easy_ == nullptr) return false;
    curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, watch_socket);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, set_timer);
    curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https,ftp");
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(easy_, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, connect_ms);
    curl_easy_setopt(easy_, CURLOPT_QUICK_EXIT, 1L);  // no waiting for the name service where a transfer is given up
    curl_easy_setopt(easy_, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    trust(easy_, CURLOPT_CAINFO, "SSL_CERT_FILE");
    trust(easy_, CURLOPT_CAPATH, "SSL_CERT_DIR");
    return curl_easy_setopt(easy_, CURLOPT_URL, url.c_str()) == CURLE_OK;
}

int Web::watch_socket(CURL *, curl_socket_t socket, int what, void *own, void *watched) {
    auto *self = static_cast<Web *>(own);
    const std::unique_ptr<Watch> old(static_cast<Watch *>(watched));
    if (what == CURL_POLL_REMOVE) {
        curl_multi_assign(self->multi_, socket, nullptr);
        return 0;
    }
    const short wanted = static_cast<short>(((what & CURL_POLL_IN) != 0 ? EV_READ : 0) |
                                            ((what & CURL_POLL_OUT) != 0 ? EV_WRITE : 0) | EV_PERSIST);
    auto watch = std::make_unique<Watch>();
    watch->waiting = event_new(
        self->base_, socket, wanted,
        [](evutil_socket_t fd, short happened, void *web) {
            static_cast<Web *>(web)->act(fd, ((happened & EV_READ) != 0 ? CURL_CSELECT_IN : 0) |
                                                 ((happened & EV_WRITE) != 0 ? CURL_CSELECT_OUT : 0));
        },
        self);
    event_add(watch->waiting, nullptr);
    curl_multi_assign(self->multi_, socket, watch.release());
    return 0;
}

int Web::set_timer(CURLM *, long ms, void *own) {
    auto *self = static_cast<Web *>(own);
    if (ms < 0) return event_del(self->timer_);
    const timeval span = {ms / 1000, ms % 1000 * 1000};
    return event_add(self->timer_, &span);
}

size_t Web::take(char *bytes, size_t, size_t size, void *own) {
    return static_cast<Web *>(own)->received_({bytes, size}) ? size : size + 1;
}

size_t Web::give(char *bytes, size_t unit, size_t count, void *own) {
    auto *self = static_cast<Web *>(own);
    const std::string_view next = self->content_.substr(self->sent_, unit * count);
    memcpy(bytes, next.data(), next.size());
    self->sent_ += next.size();
    return next.size();
}

int Web::rewind(void *own, curl_off_t offset, int origin) {
    auto *self = static_cast<Web *>(own);
    if (origin != SEEK_SET || static_cast<uint64_t>(offset) > self->content_.size()) return CURL_SEEKFUNC_FAIL;
    self->sent_ = static_cast<uint64_t>(offset);
    return CURL_SEEKFUNC_OK;
}

void Web::act(curl_socket_t socket, int what) {
    int running = 0, left = 0;
    curl_multi_socket_action(multi_, socket, what, &running);
    const CURLMsg *message = curl_multi_info_read(multi_, &left);
    if (message == nullptr || message->msg != CURLMSG_DONE) return;
    event_del(timer_);
    const Fault fault = fault_of(message->data.result);
    const Ended ended = std::move(ended_);
    ended(fault);
}

// A refusal of ours to take more is told by who has refused; 9010 stands for it here.
Fault Web::fault_of(CURLcode result) const {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    const int failure = is_put_ ? 9011 : 9010;
    if (result == CURLE_OK) {
        if (status >= 200 && status < 300) return {};
        return {failure, "status " + std::to_string(status), {}};
    }
    if (is_login_refused(result, status)) return {9012, {}, {}};
    if (result == CURLE_FILESIZE_EXCEEDED) return {9004, "the file is too large", {}};
    std::string detail = curl_easy_strerror(result);
    if (result == CURLE_HTTP_RETURNED_ERROR) detail = "status " + std::to_string(status);
    return {is_out_of_reach(result) ? 9015 : failure, std::move(detail), {}};
}

}  // namespace ravd
