// A tiny shell over the line editor, for the tests that watch its screen. It waits for keys and for events at the same
// time, as a shell that is told things does: each line that arrives at the FIFO of --events is printed as an event.
#include <string>
#include <string_view>
#include <vector>

#include <errno.h>
#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "rv/colors.h"
#include "rv/history.h"
#include "rv/rl.h"
#include "rv/wait.h"

namespace {

volatile sig_atomic_t interrupted;
std::string prompt = "user@ravc:> ";
bool leaves = false;

const char *const words[] = {"cd", "cat", "catree", "clear", "echo", "länge", "ls", "many", "set", "漢字"};
const char *const nodes[] = {"DeviceInfo.", "Ethernet.", "Users.", "WiFi.", "Wörter.", "漢字一覧."};
const char *const files[] = {"fw-1.2.bin", "fw-1.3.bin", "räksmörgås.txt"};

bool begins_with(std::string_view text, std::string_view beginning) {
    return strncasecmp(text.data(), beginning.data(), beginning.size()) == 0;
}

// A fault of the program's own, which no signal from outside is.
void touch_nothing() {
    void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    munmap(page, 4096);
    printf("%d", *static_cast<volatile int *>(page));
}

void complete(const char *line, size_t cursor, json_t *out) {
    const std::string_view typed(line, cursor);
    const auto offer = [&](const auto &candidates, std::string_view beginning) {
        for (const char *candidate : candidates)
            if (begins_with(candidate, beginning)) json_array_append_new(out, json_string(candidate));
    };
    if (typed.find(' ') == typed.npos) return offer(words, typed);
    const std::string_view word = typed.substr(typed.rfind(' ') + 1);
    if (typed == "fault ") touch_nothing();
    if (typed == "slow " && rv_wait(nullptr, 0, RV_NO_DEADLINE) < 0) {
        interrupted = 0;
        return;
    }
    if (typed.starts_with("many ")) {
        for (int i = 0; i < 100000; i++) json_array_append_new(out, json_sprintf("candidate%06d", i));
    } else if (typed.starts_with("up ")) {
        offer(files, word);
    } else if (word.find('=') != word.npos) {
        offer(std::vector{"true", "false"}, word.substr(word.find('=') + 1));
    } else if (word.find('.') != word.npos) {
        offer(nodes, word.substr(word.rfind('.') + 1));
    } else {
        offer(std::vector{"Device."}, word);
    }
}

int hints;  // asked for

char *hint(const char *line) {
    hints++;
    json_t *list = json_array();
    complete(line, strlen(line), list);
    char *result = nullptr;
    const char *only = json_array_size(list) == 1 ? json_string_value(json_array_get(list, 0)) : nullptr;
    const std::string_view typed(line);
    const size_t start = typed.find_last_of(" .=");
    const size_t length = typed.size() - (start == typed.npos ? 0 : start + 1);
    if (only && strlen(only) > length) result = strdup(only + length);
    json_decref(list);
    return result;
}

char *describe(const char *line) {
    return strdup((std::string(line) + " is a thing.\nIt has two lines.").c_str());
}

std::string ask_secret() {
    std::string secret;
    fputs("Password: ", stdout);
    fflush(stdout);
    rv_rl_echo_off(STDIN_FILENO);
    for (int c; (c = rv_rl_getch()) >= 0 && c != '\n';) secret += static_cast<char>(c);
    rv_rl_echo_on(STDIN_FILENO);
    return secret;
}

void show_list() {
    json_t *list = json_array();
    for (const char *node : nodes) json_array_append_new(list, json_string(node));
    for (int i = 0; i < 12; i++) json_array_append_new(list, json_sprintf("Parameter%d", i));
    rv_rl_show_list(list);
    json_decref(list);
}

void ask(const char *question) {
    char *answer = rv_rl(question, -1);
    interrupted = 0;
    printf("ANSWER[%s]\n", answer ? answer : rv_rl_ctrl_d_is_pressed() ? "end" : "none");
    free(answer);
}

sigjmp_buf jump;

void handle_interrupt(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigaction(SIGINT, &action, nullptr);
}

void note_interrupt(int) {
    interrupted = 1;
}

void ask_until_jump() {
    handle_interrupt([](int) { siglongjmp(jump, 1); });
    if (sigsetjmp(jump, 1) == 0) {
        ask("Jump? ");
    } else {
        puts("\nJUMPED");
        ask("Again? ");
    }
    handle_interrupt(note_interrupt);
}

void run(const std::string &line) {
    const auto rest = [&](size_t at) { return line.substr(at); };
    if (line == "quit") {
        leaves = true;
    } else if (line == "ask") {
        ask("Sure? ");
    } else if (line == "jump") {
        ask_until_jump();
    } else if (line == "secret") {
        printf("\nSECRET[%s]\n", ask_secret().c_str());
    } else if (line == "list") {
        show_list();
    } else if (line.starts_with("bar")) {
        for (int i = -50; i <= 150; i += 50) rv_rl_draw_progressbar(i, rest(3).c_str());
        puts("");
    } else if (line.starts_with("hints")) {
        printf("HINTS %d of %zu\n", hints, line.size());
    } else if (line == "remember") {
        rv_history_add("for i=1,2 do\n  print(i)\nend");
    } else if (line == "plain") {
        rv_colors_toggle(0);
    } else if (line == "quiet") {
        rv_rl_set_hint_cb(nullptr);
    } else if (line.starts_with("prompt ")) {
        prompt = rest(7) + "> ";
    } else if (line.starts_with("dump ")) {
        printf("DUMP %d\n", rv_history_dump(rest(5).c_str(), -1));
    } else {
        unsigned sum = 0;
        for (const char c : line) sum = sum * 31 + static_cast<unsigned char>(c);
        if (line.size() > 1000) printf("LONG %zu %08x\n", line.size(), sum);
        if (line.size() <= 1000) printf("LINE[%s]\n", line.c_str());
    }
}

void take_line(rv_rl_async *editor, char *line) {
    rv_rl_async_restore(editor);
    if (!line) return;
    const std::string text = line;
    free(line);
    if (text.empty()) return;
    rv_history_add(text.c_str());
    run(text);
}

void show_event(rv_rl_async *editor, int events) {
    char text[4096];
    const ssize_t got = read(events, text, sizeof text - 1);
    if (got <= 0) return;
    text[got] = '\0';
    rv_rl_async_restore(editor);
    printf("\nEVENT %s", text);
    rv_rl_async_prepare(editor, prompt.c_str());
}

void drop_line(rv_rl_async *editor) {
    rv_rl_async_park(editor);
    puts("^C");
    rv_rl_async_clear(editor);
    rv_rl_async_restore(editor);
    rv_rl_async_prepare(editor, prompt.c_str());
}

void loop(rv_rl_async *editor, int events) {
    int32_t state = 0;
    while (!leaves) {
        if (state != 1) rv_rl_async_prepare(editor, prompt.c_str());
        pollfd set[2] = {{STDIN_FILENO, POLLIN, 0}, {events, POLLIN, 0}};
        if (rv_wait(set, 2, RV_NO_DEADLINE) < 0) {
            if (interrupted) drop_line(editor);
            interrupted = 0;
            rv_rl_async_resized(editor);
            continue;
        }
        if (set[1].revents & POLLIN) show_event(editor, events);
        if (!(set[0].revents & (POLLIN | POLLHUP | POLLERR))) continue;
        char *line = rv_rl_async_feed(editor, rv_rl_getch(), &state);
        if (rv_rl_ctrl_d_is_pressed()) break;
        if (state != 1) take_line(editor, line);
    }
}

void take_interrupts() {
    handle_interrupt(note_interrupt);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

// Random keys into the editor: it must come through. The terminal takes the output.
void storm(unsigned seed, int keys) {
    static const char *const sequences[] = {"\033[A",   "\033[B",  "\033[D", "\033[H",    "\033[3~",
                                            "\t",       "Device.", "漢字é",  "\x12",      "\x1f",
                                            "\x18\x15", "\x19",    "\x0b",   "\033[200~", "\033[201~"};
    srand(seed);
    rv_rl_async *editor = rv_rl_async_new();
    int32_t state = 0;
    const auto feed = [&](int key) {
        char *line = rv_rl_async_feed(editor, key, &state);
        if (line) rv_history_add(line);
        free(line);
        if (state == 1) return;
        rv_rl_async_restore(editor);
        rv_rl_async_prepare(editor, prompt.c_str());
    };
    rv_rl_async_prepare(editor, prompt.c_str());
    for (int i = 0; i < keys; i++) {
        const int choice = rand() % 100;
        if (choice < 40) {
            for (const char *c = sequences[static_cast<size_t>(rand()) % std::size(sequences)]; *c; c++)
                feed(static_cast<unsigned char>(*c));
        } else if (choice < 96) {
            feed(rand() % 256);
        } else if (choice < 98) {
            rv_rl_async_restore(editor);
            rv_rl_async_prepare(editor, prompt.c_str());
        } else {
            drop_line(editor);
        }
    }
    rv_rl_async_free(editor);
    puts("STORM OVER");
}

}  // namespace

int main(int count, char **arguments) {
    int events = -1, keys = 0;
    rv_rl_set_colors({220, 78, 100}, {120, 100, 55}, {50, 100, 55});
    rv_rl_case_insensitive(1);
    rv_rl_set_autocomplete_cb(complete);
    rv_rl_set_hint_cb(hint);
    rv_rl_set_describe_cb(describe);
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string_view option = arguments[i];
        if (option == "--prompt") prompt = arguments[i + 1];
        if (option == "--events") events = open(arguments[i + 1], O_RDWR | O_NONBLOCK);
        if (option == "--load" && rv_history_load(arguments[i + 1]) < 0) puts("no history");
        if (option == "--ask") return ask(arguments[i + 1]), 0;
        if (option == "--keys") keys = atoi(arguments[i + 1]);
        if (option == "--storm") return storm(static_cast<unsigned>(atoi(arguments[i + 1])), keys), 0;
    }
    take_interrupts();
    rv_rl_async *editor = rv_rl_async_new();
    loop(editor, events);
    rv_rl_async_restore(editor);
    rv_rl_async_free(editor);
    puts("LEFT");
    return 0;
}
