// Stopping a running script: by Ctrl-C, and by os.exit(). A script that is to stop has a hook in each of its coroutines
// that raises an error before the next instruction, again and again, until the outermost protected call has returned.
#pragma once

#include <lua.hpp>

#include <signal.h>
#include <sys/time.h>

namespace rv {

enum class Stop : sig_atomic_t { none, interrupted, exit };

// The outermost protected call, from its making to end(): SIGINT is let in meanwhile, and stops the script. One inside
// of another does nothing.
class Interruptible {
 public:
    Interruptible();
    Interruptible(const Interruptible &) = delete;
    Interruptible &operator=(const Interruptible &) = delete;

    // Puts mask and handlers back as they were. Returns why the script was to stop, if it was.
    Stop end();

 private:
    const bool outermost_;
    bool handled_ = false;
    struct sigaction interrupt_ = {}, alarm_ = {};
    sigset_t mask_ = {};
};

// A coroutine that runs, from its resumption to its next yield; they stand in each other.
class RunningThread {
 public:
    explicit RunningThread(lua_State *thread);
    ~RunningThread();
    RunningThread(const RunningThread &) = delete;
    RunningThread &operator=(const RunningThread &) = delete;

    lua_State *thread;
    RunningThread *below;
};

// Why the running script is to stop, if it is.
Stop lua_stopping();
// Has it stopped for that reason. Safe in a signal handler.
void lua_stop(Stop reason);
// Raises the error that stops the script, where it is to stop; for functions whose wait was interrupted.
void lua_raise_if_stopping();

// Puts functions that know what runs in the place of coroutine.resume and coroutine.wrap.
void lua_watch_coroutines(lua_State *L);

// Keeps SIGINT out while one exists: for what must not be cut in two.
class SigintBlocked {
 public:
    SigintBlocked();
    ~SigintBlocked();
    SigintBlocked(const SigintBlocked &) = delete;
    SigintBlocked &operator=(const SigintBlocked &) = delete;

 private:
    sigset_t mask_ = {};
};

}  // namespace rv
