"""Tab in Lua mode, and the modules that the shell brings along."""

import shutil
import subprocess

import pytest
from daemon import BUILD
from lua_shell import lua_prompt, plain


@pytest.fixture
def lua(shell):
    shell.enter("lua")
    return shell


def tab(lua, typed, line):
    """Types a text and Tab, and waits for the line that it becomes."""
    lua.send(typed)
    lua.wait_line(typed).send("\t")
    lua.wait_line(line)


@pytest.mark.parametrize("typed, line", [
    ("wh", "while"), ("string.up", "string.upper"), ("string.upper", "string.upper("), ("tabl", "table"),
    ("print(string.up", "print(string.upper"), ("x={string.up", "x={string.upper"), ("a;pri", "a;print"),
    ("coroutine", "coroutine."), ("nothing", "nothing")])
def test_a_word_is_completed_as_a_whole(lua, typed, line):
    tab(lua, typed, line)


@pytest.mark.parametrize("typed, line", [
    ("t[", "t["), ("t[1", "t[1]"), ("t['", "t['x y']"), ('t["', 't["x y"]'), ("t.f", "t.fun"), ("t.fun", "t.fun("),
    ("t.sub", "t.sub."), ("t.list", "t.list["), ("t:", "t:fun"), ("s:", "s:"), ("t.none", "t.none")])
def test_keys(lua, typed, line):
    lua.enter("t = {[1] = 0, ['x y'] = 0, fun = print, sub = {a = 1}, list = {1}, none = {}} s = 'text'")
    if typed.startswith(("t['", 't["')):
        lua.enter("t = {[1] = 0, ['x y'] = 0}")
        line = typed
        typed = typed + "x"
        lua.send(typed + "\t")
        lua.wait(lambda: lua.line() in ("t['x y']", 't["x y"]'), "the key")
        return
    tab(lua, typed, line)


def test_several_are_shown(lua):
    lua.enter("t = {[1] = 0, x = 0}")
    lua.send("t[")
    lua.wait_line("t[").send("\t")
    lua.wait(lambda: lua.rows()[-2].split() in (['t[1]', 't["x"]'], ['t["x"]', 't[1]']), "the candidates")
    lua.wait_line("t[")


def test_inherited_methods_come_after_own_ones(lua):
    lua.enter("t = setmetatable({own = print, a = 1}, {__index = {inherited = print, b = 1}})")
    lua.send("t:")
    lua.wait_line("t:").send("\t")
    lua.wait(lambda: lua.rows()[-2].split() == ["t:own", "t:inherited"], "the candidates")


def test_case_matters(lua):
    lua.enter("Alpha = 1 alphA = 2")
    tab(lua, "Alp", "Alpha")


def test_a_key_that_would_drive_the_terminal_is_not_offered(lua):
    lua.enter("t = {['\\27[2Jx'] = 1, ['x\\0y'] = 1, ['\\155x'] = 1, ok = 1}")
    tab(lua, "t.", "t.ok")


@pytest.mark.parametrize("setting", [
    "setmetatable(_G, {__index = error})", "require = nil", "pairs = nil", "next = nil", "package.path = nil",
    "package.loaded.package = nil", "package.config = ''", "package = nil", "package.preload = 1",
    "package.loaded = setmetatable({}, {__index = error})"])
def test_errors_are_swallowed(lua, setting):
    lua.enter(setting)
    lua.send("wh")
    lua.wait_line("wh").send("\t")
    lua.wait_line("while").send("\x15string.\t")
    lua.wait_line("string.").send("\x03")
    lua.wait_line("")
    assert plain(lua.enter("1+1")).endswith("] = 2\n")


def modules(lua, folder):
    """Makes modules in a folder, and has them found."""
    folder.mkdir()
    (folder / "alpha.lua").write_text("return {answer = 42}")
    (folder / "alphabet").mkdir()
    (folder / "alphabet" / "init.lua").write_text("return {letters = 26}")
    (folder / "alphabet" / "greek.lua").write_text("return 24")
    (folder / "faulty.lua").write_text("error('faulty')")
    (folder / "evil\x1b[2J.lua").write_text("")
    lua.enter(f"package.path = '{folder}/?.lua;{folder}/?/init.lua'")


def test_modules_are_offered(lua, tmp_path):
    modules(lua, tmp_path / "modules")
    tab(lua, "alphabe", "alphabet")
    lua.send("\x15")
    tab(lua, "alphabet.", "alphabet.greek")
    lua.send("\x15")
    tab(lua, "require'fau", "require'fau")
    lua.send("\x15")
    tab(lua, "require 'fau", "require 'faulty'")
    lua.send("\x15")
    tab(lua, 'require("fau', 'require("faulty"')
    assert "evil" not in lua.text()


def test_tab_behind_a_whole_name_loads_the_module(lua, tmp_path):
    modules(lua, tmp_path / "modules")
    tab(lua, "print(alpha", "print(alpha.")
    assert lua.rows()[-2] == "Loaded module 'alpha'."
    assert lua.rows()[-3].endswith("> print(alpha")
    lua.send("answer)\r")
    lua.wait_text("\n42\n")
    lua.wait_line("").forget()
    tab(lua, "alpha", "alpha.")
    assert b"module" not in lua.output


def test_a_loaded_module_becomes_global(lua, tmp_path):
    modules(lua, tmp_path / "modules")
    lua.enter("keep = require 'alphabet'")
    tab(lua, "alphabet", "alphabet.")
    assert lua.rows()[-2] == "Globalized module 'alphabet'."
    lua.send("letters\r")
    lua.wait_text("_[1] = 26")


def test_a_module_that_fails_says_nothing(lua, tmp_path):
    modules(lua, tmp_path / "modules")
    lua.forget()
    tab(lua, "faulty", "faulty")
    assert b"module" not in lua.output


def test_what_package_preload_knows_completes_nothing(lua):
    lua.enter("package.path = '' package.cpath = '' package.preload.preloaded1 = print")
    tab(lua, "preloa", "preloa")


def test_many_entries_end(lua, tmp_path):
    folder = tmp_path / "many"
    folder.mkdir()
    for number in range(3000):
        (folder / f"m{number}x.lua").touch()
    lua.enter(f"package.path = '{folder}/?.lua'")
    lua.send("m299")
    lua.wait_line("m299").send("\t")
    lua.wait_text("m2999x")
    lua.wait_line("m299")


MODULES = [("good", "return {answer = 42}"), ("bad", "error('bad')"), ("also", "return 1"),
           ("print", "print('told') return print")]


@pytest.fixture
def preloaded(shell_tmp, tmp_path, monkeypatch):
    """Modules in the shell's module folder, which only the test's own shells see."""
    if not shell_tmp.prefix:
        pytest.skip("mounting is not allowed here")
    upper, work = tmp_path / "upper", tmp_path / "work"
    for name, text in MODULES:
        module = upper / "lua" / "5.3" / "corvane" / name
        module.mkdir(parents=True)
        (module / "init.lua").write_text(text)
    (upper / "lua" / "5.3" / "corvane" / "also.so").touch()
    shutil.copy(BUILD / "tests" / "lua_module.so", upper / "lua" / "5.3" / "corvane" / "compiled.so")
    work.mkdir()
    mount = f"mount -t overlay overlay -o 'lowerdir=/usr/lib,upperdir={upper},workdir={work}' /usr/lib"
    prefix = [*shell_tmp.prefix, "sh", "-c", mount + ' && exec "$@"', "sh"]
    if subprocess.run([*prefix, "true"], capture_output=True, check=False).returncode != 0:
        pytest.skip("mounting an overlay is not allowed here")
    monkeypatch.setattr(shell_tmp, "prefix", prefix)


@pytest.mark.usefixtures("preloaded")
def test_modules_are_preloaded(ravd, open_shell):
    shell = open_shell(ravd.socket, LUA_PATH_5_3="/usr/lib/lua/5.3/?/init.lua").wait_line("")
    shell.enter("lua")
    assert lua_prompt(shell) == "ravc-lua:> "
    rows = shell.rows()
    first = rows.index("> preloaded also")
    assert rows[first:-1] == [
        "> preloaded also", "> preloaded also", "> preloaded compiled", "> preloaded good", "told", "> preloaded print"]
    assert plain(shell.enter("good.answer, also, bad, compiled.answer()")) == (
        "_[1] = 42\n_[2] = 1\n_[3] = nil\n_[4] = 42\n")
    assert "bad" not in plain(shell.enter("lua print(1)"))


@pytest.mark.usefixtures("preloaded")
def test_one_statement_preloads_nothing(ravd, open_shell):
    shell = open_shell(ravd.socket, LUA_PATH_5_3="/usr/lib/lua/5.3/?/init.lua").wait_line("")
    assert plain(shell.enter("lua print(good)")) == "print(good) \nnil\n"
