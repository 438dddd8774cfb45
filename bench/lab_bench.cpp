// The switch as one system: daemon, shell and modules as processes, beside the least that the same
// bytes can cost between processes, or on the clock alone.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>
#include <kiv/kivd_lib.h>

#include "daemon_process.h"
#include "lab/module/protocol.h"
#include "lab/module/request.h"
#include "rounds.h"

namespace {

using namespace processes;

constexpr const char *tree_folder = "/ubex/etc/par";
constexpr const char *configuration_folder = "/ubex/cfg";
constexpr const char *daemon_folder = "/ubex/etc/kivd";
constexpr const char *shell = "/usr/sbin/kiv.bin";
constexpr const char *session_script = "/sbin/kivScript.sh";
constexpr std::string_view prompt = "kiv# ";
constexpr std::string_view done = KIV_INTERACT_SUCCESS_MARKER;
constexpr int longest_wait = 20'000; // milliseconds, for anything

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void link_to(const char *target, const char *place)
{
    unlink(place);
    expect(symlink(target, place) == 0);
}

// -- The system

bool tree_has(const std::string &module)
{
    char name[KIVD_PARFILE_NAME_SIZE];
    if (kivd_kiv_dynamic_parfile_name_get(0, name) != 0)
        return false;
    const std::filesystem::path file = std::filesystem::path(tree_folder) / name;
    std::ifstream bytes(file, std::ios::binary);
    for (kiv_array_tree_node node; bytes.read(reinterpret_cast<char *>(&node), sizeof node);) {
        if (node.module_id == module)
            return true;
    }
    return false;
}

// A module's program, and its commands in the shell's tree.
class module_process {
public:
    module_process(const std::string &name, std::vector<std::string> words)
        : trees_(inotify_init1(IN_CLOEXEC)), program_(start(std::move(words)))
    {
        while (!tree_has(name)) {
            pollfd ready{trees_, POLLIN, 0};
            expect(poll(&ready, 1, longest_wait) == 1);
            char events[4096];
            expect(read(trees_, events, sizeof events) > 0);
        }
    }
    module_process(const module_process &) = delete;
    module_process &operator=(const module_process &) = delete;
    ~module_process() { close(trees_); }

private:
    // Before it can have changed anything.
    std::vector<std::string> start(std::vector<std::string> words) const
    {
        expect(inotify_add_watch(trees_, tree_folder, IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO) >=
               0);
        return words;
    }

    int trees_;
    program program_;
};

// A switch as it starts: what earlier benchmarks have put in its places is gone.
class lab {
public:
    lab()
    {
        link_to(SHELL_PROGRAM, shell);
        link_to(SESSION_SCRIPT, session_script);
        copy_tree("kiv");
        copy_tree("vsan");
        std::filesystem::remove_all(configuration_folder);
        std::filesystem::remove_all(daemon_folder);
        std::filesystem::create_directory(configuration_folder);
        daemon_ = std::make_unique<daemon_process>();
    }

    void start_vsan_module()
    {
        modules_.push_back(
            std::make_unique<module_process>("vsan", std::vector<std::string>{VSAN_MODULE}));
    }

    void start_lines_module(const std::string &name, uint16_t service)
    {
        store_tree(name, lines_tree(name, service));
        modules_.push_back(std::make_unique<module_process>(
            name, std::vector<std::string>{LINES_MODULE, name, std::to_string(service)}));
    }

private:
    static void copy_tree(const std::string &name)
    {
        std::filesystem::copy_file(std::filesystem::path(TREE_FOLDER) / (name + ".par"),
                                   tree_path(name),
                                   std::filesystem::copy_options::overwrite_existing);
    }

    static trees::tree lines_tree(const std::string &name, uint16_t service)
    {
        trees::tree nodes(2);
        nodes[0].children[0] = 1;
        nodes[0].child_count = 1;
        kiv_array_tree_node &node = nodes[1];
        trees::print(node.token, "%s", name.c_str());
        trees::print(node.module_id, "%s", name.c_str());
        trees::print(node.subtree_config_generator, "lines_running_config");
        node.cmi_msg_type = service;
        node.asciigen_priority = 40;
        node.permissions_mask[0] = 0x0F;
        return nodes;
    }

    std::unique_ptr<daemon_process> daemon_;
    std::vector<std::unique_ptr<module_process>> modules_;
};

// -- The shell, at a terminal and in a session

class terminal {
public:
    terminal() : shell_({shell}, POSIX_SPAWN_SETSID, [this](auto *streams) { open(streams); })
    {
        read_until(prompt);
    }
    terminal(const terminal &) = delete;
    terminal &operator=(const terminal &) = delete;
    ~terminal() { close(master_); }

    // Types a command, and returns the seconds from its last key to the next prompt.
    double enter_to_prompt(const std::string &command)
    {
        type(command);
        read_until(command);
        const auto start = std::chrono::steady_clock::now();
        type("\r");
        read_until(prompt);
        return seconds_since(start);
    }

private:
    // The first terminal that the leader of a session opens is its own.
    void open(program::actions *streams)
    {
        master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        constexpr winsize screen{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
        expect(master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0 &&
               ioctl(master_, TIOCSWINSZ, &screen) == 0 && setenv("TERM", "xterm", 0) == 0);
        posix_spawn_file_actions_addopen(streams, STDIN_FILENO, ptsname(master_), O_RDWR, 0);
        posix_spawn_file_actions_adddup2(streams, STDIN_FILENO, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(streams, STDIN_FILENO, STDERR_FILENO);
    }

    void type(std::string_view keys) const
    {
        expect(write(master_, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size()));
    }

    void read_until(std::string_view text)
    {
        shown_.clear();
        while (shown_.find(text) == std::string::npos) {
            char piece[4096];
            pollfd ready{master_, POLLIN, 0};
            expect(poll(&ready, 1, longest_wait) == 1);
            const ssize_t size = read(master_, piece, sizeof piece);
            expect(size > 0);
            shown_.append(piece, static_cast<size_t>(size));
        }
    }

    int master_ = -1;
    std::string shown_;
    program shell_;
};

// A session of the library, for as long as this lives.
class session {
public:
    session()
    {
        kiv_interact_reply_end_set(KIV_INTERACT_END_MARKER, 0);
        expect(kiv_interact_session_init("bench") == 0);
    }
    session(const session &) = delete;
    session &operator=(const session &) = delete;
    ~session() { kiv_interact_session_close(); }

    // Returns the size of what the command has printed.
    static size_t run(const std::string &command)
    {
        char *reply = kiv_interact_exec_single_cmd(command.c_str());
        expect(reply != nullptr);
        const std::string_view text(reply);
        const size_t size = text.size() - done.size();
        if (!text.ends_with(done)) {
            std::fprintf(stderr, "%s: %s\n", command.c_str(), reply);
            std::abort();
        }
        kiv_interact_buff_free(reply);
        return size;
    }
};

// The shell behind two pipes, with nothing between them and the clock.
class piped_shell {
public:
    piped_shell() : shell_({shell, "--session"}, 0, [this](auto *streams) { open(streams); })
    {
        close(its_ends_[0]);
        close(its_ends_[1]);
    }
    piped_shell(const piped_shell &) = delete;
    piped_shell &operator=(const piped_shell &) = delete;
    ~piped_shell()
    {
        close(lines_);
        close(answers_);
    }

    // The seconds from a line to the end of its answer.
    double enter_to_prompt(const std::string &command) const
    {
        const std::string line = command + "\n";
        const auto start = std::chrono::steady_clock::now();
        expect(write(lines_, line.data(), line.size()) == static_cast<ssize_t>(line.size()));
        char piece[4096];
        ssize_t size = 0;
        do
            size = read(answers_, piece, sizeof piece);
        while (size > 0 && !std::string_view(piece, static_cast<size_t>(size)).ends_with(done));
        expect(size > 0);
        return seconds_since(start);
    }

private:
    void open(program::actions *streams)
    {
        int lines[2];
        int answers[2];
        expect(pipe2(lines, O_CLOEXEC) == 0 && pipe2(answers, O_CLOEXEC) == 0);
        lines_ = lines[1];
        answers_ = answers[0];
        its_ends_ = {lines[0], answers[1]};
        posix_spawn_file_actions_adddup2(streams, lines[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(streams, answers[1], STDOUT_FILENO);
    }

    int lines_ = -1;
    int answers_ = -1;
    std::array<int, 2> its_ends_{};
    program shell_;
};

// -- From Enter to the prompt

constexpr const char *command = "show vsan 10";

std::string request_of_command()
{
    const int32_t number = 10;
    const std::vector<kiv::module::argument> arguments{
        {.token_id = 0,
         .type = static_cast<uint32_t>(TYPE_VSAN),
         .mask = 0,
         .subtype = 0,
         .value = {reinterpret_cast<const char *>(&number), sizeof number}}};
    return kiv::module::write_request("show_vsan", pinfo{}, arguments);
}

size_t make_vsan()
{
    const session preparing;
    for (const char *line : {"configure terminal", "vsan 10", "name production", "end"})
        session::run(line);
    return session::run(command);
}

double median_of(size_t count, const std::function<double()> &seconds)
{
    std::vector<double> times(count);
    std::ranges::generate(times, seconds);
    return rounds::median(std::move(times));
}

template <class Shell>
void enter_to_prompt(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t count = 200;
    const one_processor here;
    lab running;
    running.start_vsan_module();
    const size_t output_size = make_vsan();
    Shell open;
    bare_connection bare(request_of_command().size(),
                         sizeof(kiv::module::answer_head) + output_size);
    const auto exchange = [&] { return open.enter_to_prompt(command); };
    const auto bare_exchange = [&] { return rounds::seconds_of([&] { bare.exchange(); }); };
    rounds::measure(state, {rounds::timed{"shell", [&] { return median_of(count, exchange); }},
                            {"bare", [&] { return median_of(count, bare_exchange); }}});
}

BENCHMARK(enter_to_prompt<terminal>)
    ->Name("lab/enter/terminal")
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK(enter_to_prompt<piped_shell>)
    ->Name("lab/enter/pipes")
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// -- From the start to the first prompt

void start_to_prompt(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t enough = 135; // trees, for so many nodes
    const auto nodes = static_cast<size_t>(state.range(0));
    const lab running;
    contributed_trees contributed;
    contributed.grow_to(enough);
    expect(kivd_generate_main_tree(0) == 0 && status().nodes >= nodes);
    const auto start = [] {
        std::unique_ptr<terminal> started;
        return rounds::seconds_of([&] { started = std::make_unique<terminal>(); });
    };
    rounds::measure(state, {rounds::timed{"shell", start}});
}

BENCHMARK(start_to_prompt)
    ->Name("lab/start/nodes")
    ->Arg(5000)
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// -- Many lines of configuration

std::vector<std::string> configuration_lines(size_t count)
{
    std::vector<std::string> lines;
    for (size_t i = 0; lines.size() < count; ++i) {
        const std::string number = std::to_string(i + 2);
        const std::string server = std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
        lines.insert(lines.end(), {"vsan " + number, "name production-" + number, "suspend", "exit",
                                   "ntp server 10.1." + server});
    }
    return lines;
}

double configure(const std::vector<std::string> &lines)
{
    lab running;
    running.start_vsan_module();
    return rounds::seconds_of([&] {
        const session open;
        session::run("configure terminal");
        std::ranges::for_each(lines, session::run);
    });
}

void configure_lines(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    const auto lines = configuration_lines(static_cast<size_t>(state.range(0)));
    rounds::measure(state, {rounds::timed{"session", [&] { return configure(lines); }}});
}

BENCHMARK(configure_lines)
    ->Name("lab/configure/lines")
    ->Arg(10000)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// -- A long running configuration

class pipe_ends {
public:
    pipe_ends() { expect(pipe2(ends_.data(), O_CLOEXEC) == 0); }
    pipe_ends(const pipe_ends &) = delete;
    pipe_ends &operator=(const pipe_ends &) = delete;
    ~pipe_ends()
    {
        close(ends_[0]);
        close_writing();
    }

    int reading() const { return ends_[0]; }
    int writing() const { return ends_[1]; }
    void close_writing()
    {
        if (ends_[1] >= 0)
            close(ends_[1]);
        ends_[1] = -1;
    }

private:
    std::array<int, 2> ends_{};
};

// What has been read from a pipe, as much as there is room for.
class reader {
public:
    explicit reader(size_t room) : text_(room, '\0') {}

    std::string_view read_at_most(int descriptor, size_t size)
    {
        size_t taken = 0;
        while (taken < size) {
            const ssize_t more = read(descriptor, text_.data() + taken, size - taken);
            expect(more >= 0);
            if (more == 0)
                break;
            taken += static_cast<size_t>(more);
        }
        return std::string_view(text_).substr(0, taken);
    }

    std::string_view read_all(int descriptor)
    {
        const std::string_view text = read_at_most(descriptor, text_.size());
        expect(text.size() < text_.size());
        return text;
    }

private:
    std::string text_;
};

std::string_view show_running_configuration(reader &into)
{
    pipe_ends output;
    program show({shell, "-c", "show running-config"}, 0, [&](auto *streams) {
        posix_spawn_file_actions_adddup2(streams, output.writing(), STDOUT_FILENO);
    });
    output.close_writing();
    const std::string_view text = into.read_all(output.reading());
    expect(show.wait() == 0);
    return text;
}

// A process that writes the same text whenever it is told to.
class copier {
public:
    explicit copier(std::string text) : text_(std::move(text)) {}

    void copy(reader &into)
    {
        say_ready(order_.writing());
        expect(into.read_at_most(copy_.reading(), text_.size()).size() == text_.size());
    }

private:
    void serve() const
    {
        for (char order; read(order_.reading(), &order, 1) == 1;) {
            for (size_t sent = 0; sent < text_.size();) {
                const ssize_t size =
                    write(copy_.writing(), text_.data() + sent, text_.size() - sent);
                expect(size > 0);
                sent += static_cast<size_t>(size);
            }
        }
    }

    std::string text_;
    pipe_ends order_;
    pipe_ends copy_;
    server server_{[this](int ready) {
        say_ready(ready);
        serve();
    }};
};

size_t lines_of_modules(std::string_view text)
{
    size_t count = 0;
    for (size_t at = 0; (at = text.find("\nlines-", at)) != std::string_view::npos; ++at)
        ++count;
    return count;
}

void show_configuration(benchmark::State &state)
{
    if (!is_in_switch_root(state))
        return;
    constexpr size_t room = 16 << 20;
    lab running;
    running.start_lines_module("lines-a", 720);
    running.start_lines_module("lines-b", 721);
    reader shown(room);
    const std::string text(show_running_configuration(shown));
    expect(lines_of_modules("\n" + text) == static_cast<size_t>(state.range(0)));
    reader copied(room);
    copier copying(text);
    rounds::measure(state, {rounds::contender{"shell", [&] { show_running_configuration(shown); }},
                            {"copy", [&] { copying.copy(copied); }}});
}

BENCHMARK(show_configuration)
    ->Name("lab/show/lines")
    ->Arg(100000)
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
