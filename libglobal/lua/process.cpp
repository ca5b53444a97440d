// os.execute, io.popen and os.exit. Programs are started with SIGINT at its default and without our descriptors; and
// the end of ours is left to whoever runs the script.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "libglobal/lua/context.h"
#include "libglobal/lua/interrupt.h"
#include "libglobal/lua/libraries.h"
#include "rv/wait.h"

extern char **environ;

namespace rv {

namespace {

// A file of io.popen: what Lua knows of any file, and the program behind it.
struct Pipe {
    luaL_Stream stream;
    pid_t pid;
};

// Starts command in a shell, with its descriptor target being ours; -1 for none. Returns the process, or -1 with errno.
pid_t start(const char *command, int ours, int target) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    if (ours >= 0) posix_spawn_file_actions_adddup2(&actions, ours, target);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int number : {SIGINT, SIGQUIT, SIGPIPE}) sigaddset(&defaults, number);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const char *arguments[] = {"sh", "-c", command, nullptr};
    pid_t pid = -1;
    errno = posix_spawn(&pid, "/bin/sh", &actions, &attributes, const_cast<char **>(arguments), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return errno == 0 ? pid : -1;
}

// Throws a pending SIGINT away.
void use_up_sigint() {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    constexpr timespec none = {};
    sigtimedwait(&interrupt, nullptr, &none);
}

// Runs a program in the foreground. Ctrl-C is for the program; only where that dies of it, it is for the script, too.
// Returns its status, or -1.
int run_in_foreground(const char *command) {
    const SigintBlocked scope;
    if (lua_stopping() != Stop::none) return -1;
    const pid_t pid = start(command, -1, -1);
    if (pid < 0) return -1;
    if (rv_interrupt_pending()) kill(pid, SIGINT);  // it came when there was no program yet to take it
    bool other_signal = false;
    int status = -1;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
        other_signal = true;
    }
    if (!other_signal) use_up_sigint();
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) lua_stop(Stop::interrupted);
    return status;
}

int execute(lua_State *L) {
    const char *command = luaL_optstring(L, 1, nullptr);
    if (!command) {
        lua_pushboolean(L, access("/bin/sh", X_OK) == 0);
        return 1;
    }
    lua_show_output(lua_context(L));
    const int status = run_in_foreground(command);
    lua_raise_if_stopping();
    return luaL_execresult(L, status);
}

// Waits until the program has ended or Ctrl-C is pressed.
void wait_for_end(pid_t pid) {
    pollfd end = {.fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), .events = POLLIN, .revents = 0};
    if (end.fd < 0) return;
    while (rv_wait(&end, 1, RV_NO_DEADLINE) < 0 && lua_stopping() == Stop::none) {
    }
    close(end.fd);
}

int close_pipe(lua_State *L) {
    const auto *pipe = static_cast<const Pipe *>(luaL_checkudata(L, 1, LUA_FILEHANDLE));
    fclose(pipe->stream.f);
    wait_for_end(pipe->pid);
    const int options = lua_stopping() == Stop::none ? 0 : WNOHANG;
    int status = -1;
    while (waitpid(pipe->pid, &status, options) < 0 && errno == EINTR) {
    }
    lua_raise_if_stopping();
    return luaL_execresult(L, status);
}

// Starts command with a pipe between it and the file, which becomes ours. Returns 0, or -1 with errno.
int open_pipe(Pipe *file, const char *command, bool reading) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) return -1;
    const int ours = ends[reading ? 0 : 1], theirs = ends[reading ? 1 : 0];
    FILE *stream = fdopen(ours, reading ? "r" : "w");
    if (stream) file->pid = start(command, theirs, reading ? STDOUT_FILENO : STDIN_FILENO);
    const int error = errno;
    close(theirs);
    if (stream && file->pid >= 0) {
        file->stream.f = stream;
        file->stream.closef = close_pipe;
        return 0;
    }
    if (stream) {
        fclose(stream);
    } else {
        close(ours);
    }
    errno = error;
    return -1;
}

int popen_program(lua_State *L) {
    const char *command = luaL_checkstring(L, 1);
    const char *mode = luaL_optstring(L, 2, "r");
    luaL_argcheck(L, strcmp(mode, "r") == 0 || strcmp(mode, "w") == 0, 2, "invalid mode");
    lua_show_output(lua_context(L));
    auto *file = static_cast<Pipe *>(lua_newuserdata(L, sizeof(Pipe)));
    *file = {};  // without a close function: a closed file
    luaL_setmetatable(L, LUA_FILEHANDLE);
    return open_pipe(file, command, *mode == 'r') == 0 ? 1 : luaL_fileresult(L, 0, command);
}

int exit_program(lua_State *L) {
    const int status = lua_isboolean(L, 1) ? !lua_toboolean(L, 1) : static_cast<int>(luaL_optinteger(L, 1, 0));
    lua_context(L).own->exit_status = status;
    lua_stop(Stop::exit);
    lua_raise_if_stopping();
    return 0;
}

void set(lua_State *L, const char *library, const char *name, lua_CFunction function) {
    lua_getglobal(L, library);
    lua_pushcfunction(L, function);
    lua_setfield(L, -2, name);
    lua_pop(L, 1);
}

}  // namespace

void lua_add_processes(lua_State *L) {
    set(L, LUA_OSLIBNAME, "execute", execute);
    set(L, LUA_OSLIBNAME, "exit", exit_program);
    set(L, LUA_IOLIBNAME, "popen", popen_program);
}

}  // namespace rv
