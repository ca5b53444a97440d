// The pipes and the end of a program. Its group is killed before the process is waited for: until then no other group
// can have its number, and whatever the group has written can be read.
#include "ravd/handlers/program_run.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ravd/child_process.h"
#include "ravd/log.h"

namespace ravd {

namespace {

constexpr size_t read_size = 16'384;   // at once
constexpr size_t longest_line = 1024;  // of the standard error, in the log
constexpr size_t most_lines = 200;
constexpr size_t most_complaints = 262'144;  // bytes

// What is there to read, at most size bytes; empty at the end, and with more set when nothing is there yet.
std::string_view read_some(int fd, char *buffer, size_t size, bool &more) {
    const ssize_t got = read(fd, buffer, size);
    more = got < 0 && (errno == EAGAIN || errno == EINTR);
    return {buffer, got > 0 ? static_cast<size_t>(got) : 0};
}

}  // namespace

void ProgramPipe::close() {
    if (ready != nullptr) event_free(ready);
    if (fd >= 0) ::close(fd);
    *this = {};
}

ProgramRun::ProgramRun(event_base *base, std::string name, const ProgramProcess &process, std::string input,
                       const ProgramLimits &limits, uint64_t time_ms, Told told, Gone gone)
    : name_(std::move(name)),
      limits_(limits),
      time_ms_(time_ms),
      told_(std::move(told)),
      gone_(std::move(gone)),
      pid_(process.pid),
      timer_(event_new(
          base, -1, 0,
          [](evutil_socket_t, short, void *self) {
              auto &run = *static_cast<ProgramRun *>(self);
              run.stop("took longer than " + std::to_string(run.time_ms_) + " ms");
          },
          this)),
      to_write_(std::move(input)) {
    watch(base, input_, process.input, EV_WRITE,
          [](evutil_socket_t, short, void *self) { static_cast<ProgramRun *>(self)->on_input(); });
    watch(base, output_, process.output, EV_READ,
          [](evutil_socket_t, short, void *self) { static_cast<ProgramRun *>(self)->on_output(); });
    watch(base, errors_, process.errors, EV_READ,
          [](evutil_socket_t, short, void *self) { static_cast<ProgramRun *>(self)->on_errors(); });
    watch(base, ended_, process.ended, EV_READ,
          [](evutil_socket_t, short, void *self) { static_cast<ProgramRun *>(self)->on_ended(); });
    const timeval span = {static_cast<time_t>(time_ms / 1000), static_cast<suseconds_t>(time_ms % 1000 * 1000)};
    event_add(timer_, &span);
}

ProgramRun::~ProgramRun() {
    kill_group();
    if (pid_ > 0) wait_for_end(pid_);
    for (ProgramPipe *pipe : {&input_, &output_, &errors_, &ended_}) pipe->close();
    event_free(timer_);
}

void ProgramRun::watch(event_base *base, ProgramPipe &pipe, int fd, short what, event_callback_fn call) {
    pipe = {fd, event_new(base, fd, static_cast<short>(what | EV_PERSIST), call, this)};
    event_add(pipe.ready, nullptr);
}

// A program need not read its input.
void ProgramRun::on_input() {
    const ssize_t put = write(input_.fd, to_write_.data() + written_, to_write_.size() - written_);
    if (put > 0) written_ += static_cast<size_t>(put);
    const bool later = put < 0 && (errno == EAGAIN || errno == EINTR);
    if (written_ == to_write_.size() || (put <= 0 && !later)) input_.close();
}

void ProgramRun::on_output() {
    char buffer[read_size];
    bool more = false;
    const std::string_view got = read_some(output_.fd, buffer, sizeof buffer, more);
    collected_ += got;
    if (got.empty() && !more) output_.close();
    if (collected_.size() > limits_.output) stop("wrote more than " + std::to_string(limits_.output) + " bytes");
}

void ProgramRun::on_errors() {
    char buffer[read_size];
    bool more = false;
    const std::string_view got = read_some(errors_.fd, buffer, sizeof buffer, more);
    log_lines(got);
    complained_ += got.size();
    if ((got.empty() && !more) || lines_ > most_lines || complained_ > most_complaints) errors_.close();
}

void ProgramRun::log_lines(std::string_view text) {
    for (const char c : text) {
        if (c == '\n') {
            log_line();
        } else if (line_.size() < longest_line) {
            line_ += c;
        }
    }
}

void ProgramRun::log_line() {
    if (lines_ < most_lines) log_info("%s: %s", name_.c_str(), line_.c_str());
    if (lines_ == most_lines)
        log_warning("%s: writes more lines on its standard error, which are left out", name_.c_str());
    lines_++;
    line_.clear();
}

void ProgramRun::on_ended() {
    kill_group();
    while (output_.fd >= 0 && collected_.size() <= limits_.output) {
        const size_t before = collected_.size();
        on_output();
        if (output_.fd >= 0 && collected_.size() == before) break;
    }
    if (errors_.fd >= 0) on_errors();
    if (!line_.empty()) log_line();
    const int status = wait_for_end(pid_);
    pid_ = -1;
    tell(outcome_of(status));
    for (ProgramPipe *pipe : {&input_, &output_, &errors_, &ended_}) pipe->close();
    event_del(timer_);
    if (const Gone gone = std::exchange(gone_, nullptr)) gone();
}

ProgramOutcome ProgramRun::outcome_of(int status) const {
    if (WIFSIGNALED(status)) return {-1, "", "was ended by the signal " + std::to_string(WTERMSIG(status))};
    const int code = WEXITSTATUS(status);
    return {code, collected_, code == 0 ? "" : "ended with the status " + std::to_string(code)};
}

// The process is waited for when it has ended: one that the kernel holds does not hold up the loop.
void ProgramRun::stop(std::string problem) {
    kill_group();
    tell({-1, "", std::move(problem)});
}

void ProgramRun::kill() {
    told_ = nullptr;
    kill_group();
}

void ProgramRun::kill_group() const {
    if (pid_ > 0) ::kill(-pid_, SIGKILL);
}

void ProgramRun::tell(const ProgramOutcome &outcome) {
    input_.close();
    if (const Told told = std::exchange(told_, nullptr)) told(outcome);
}

}  // namespace ravd
