#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <kiv/extras.h>
#include <kiv/kiv_interact_exec.h>

#include "command_lines.h"
#include "commands.h"
#include "options.h"
#include "progress_line.h"
#include "report.h"
#include "shell_session.h"
#include "support/characters.h"
#include "tree/json.h"

namespace kivctl {

namespace {

using kiv::support::printable;

constexpr const char *usage =
    "usage: kivctl session [--marker] [--deadline SECONDS] [--xml] [--json] [FILE]\n"
    "       kivctl session --conf [--marker] [--deadline SECONDS] [--json] [FILE]\n"
    "\n"
    "Starts one shell and runs every line of FILE in it, or of standard input (also \"-\"). "
    "Prints\n"
    "what each command prints, and on standard error which ones failed; goes on after those.\n"
    "\n"
    "  --conf         run the lines as one batch in configuration mode, up to the first that "
    "fails\n"
    "  --marker       a reply ends with its marker word. Without this it ends when nothing comes "
    "for\n"
    "                 30 milliseconds, and a show command that fails takes almost a minute\n"
    "  --deadline SECONDS\n"
    "                 give up when a reply takes longer\n"
    "  --xml          have the shell show things as XML\n"
    "  --json         print a line of JSON for each command, or for the batch\n"
    "\n"
    "Exit status: 0 all commands succeeded, 1 one failed or the session did, 2 wrong usage.\n";

enum option_code : int { marker = first_own_code, deadline, xml, json, conf };

constexpr std::array options{
    option{"marker", no_argument, nullptr, marker},
    option{"deadline", required_argument, nullptr, deadline},
    option{"xml", no_argument, nullptr, xml},
    option{"json", no_argument, nullptr, json},
    option{"conf", no_argument, nullptr, conf},
    help_option,
    no_more_options,
};

constexpr int32_t longest_deadline = 1'000'000;

struct request {
    bool marker = false;
    int32_t deadline = 0; // in seconds; 0: none
    bool xml = false;
    bool json = false;
    bool conf = false;
    const char *file = "-";
};

struct free_reply {
    void operator()(char *text) const { kiv_interact_buff_free(text); }
    void operator()(kiv_interact_ret_info *record) const { kiv_interact_ret_info_free(record); }
};
using reply_text = std::unique_ptr<char, free_reply>;
using result_record = std::unique_ptr<kiv_interact_ret_info, free_reply>;

std::string text_or_empty(const char *text)
{
    return text == nullptr ? "" : text;
}

// The library's own texts have no end of line.
std::string as_lines(const std::string &text)
{
    return text.empty() || text.ends_with('\n') ? text : text + '\n';
}

void pass_on_complaints()
{
    std::fputs(shell_session::complaints().c_str(), stderr);
}

int report_lost_shell(const request &wanted)
{
    pass_on_complaints();
    return fail("session", wanted.marker
                               ? "the shell gave no answer"
                               : "the shell gave no answer, or paused in it; --marker waits");
}

// Every line for itself.
class line_by_line {
public:
    line_by_line(const request &wanted, command_lines &lines, const user_output &out)
        : wanted_(wanted), lines_(lines), out_(out), progress_(!out.is_terminal(), [this] {
              return "kivctl: " + std::to_string(count_) + " commands";
          })
    {
    }

    // Goes on until the lines end, the session fails or nothing can be printed.
    int run()
    {
        for (std::string line; lines_.next(line);) {
            if (!run_line(line))
                return failed;
        }
        const auto progress_aside = progress_.aside();
        return lines_.finish() == done ? result_ : failed;
    }

private:
    bool run_line(const std::string &line)
    {
        const reply_text text(kiv_interact_exec_single_cmd(line.c_str()));
        const reply answer = reply_of(text.get());
        ++count_;
        const int error = out_.write(wanted_.json ? json_line(line, answer) : answer.output);
        if (error == 0 && answer.end.status == KIV_INTERACT_SUCCESS)
            return true;
        const auto progress_aside = progress_.aside();
        if (user_output::report(error) != done)
            return false;
        result_ = fail(lines_.place(), answer.end.message);
        if (answer.end.status == 0)
            report_lost_shell(wanted_);
        return answer.end.status != 0;
    }

    std::string json_line(const std::string &line, const reply &answer) const
    {
        kiv::tree::json_object object;
        object.add_number("line", lines_.number()).add_text("command", line);
        object.add_text("status", answer.end.name).add_text("output", answer.output);
        return object.text() + '\n';
    }

    const request &wanted_;
    command_lines &lines_;
    const user_output &out_;
    int result_ = done;
    std::atomic<size_t> count_ = 0;
    progress_line progress_;
};

int read_batch(command_lines &lines, std::string &batch, size_t &count)
{
    for (std::string line; lines.next(line); ++count)
        batch.append(line).append("\n");
    return lines.finish();
}

int report_batch(const request &wanted, const command_lines &lines,
                 const kiv_interact_ret_info &record, const user_output &out)
{
    const reply_end &end = end_with_status(record.status);
    const std::string output = text_or_empty(record.output);
    const std::string command = text_or_empty(record.failed_cmd);
    kiv::tree::json_object object;
    object.add_text("status", end.name).add_text("output", output);
    object.add_if_set("failed_command", command);
    const int error = out.write(wanted.json ? object.text() + '\n' : as_lines(output));
    const int written = user_output::report(error);
    if (record.status == KIV_INTERACT_SUCCESS)
        return written;
    pass_on_complaints();
    return fail(lines.name(), std::string(end.message) + ": " + printable(command));
}

int run_batch(const request &wanted, const command_lines &lines, const std::string &batch,
              size_t count, const user_output &out)
{
    result_record record;
    {
        const progress_line progress(
            true, [&] { return "kivctl: batch of " + std::to_string(count) + " lines"; });
        record.reset(kiv_interact_exec_conf_cmds(batch.c_str()));
    }
    return record ? report_batch(wanted, lines, *record, out) : report_lost_shell(wanted);
}

int close_session(shell_session &session, int status)
{
    if (session.close() || status != done)
        return status;
    return fail("session", "the shell did not end as it should");
}

int open_session(const request &wanted, shell_session &session)
{
    constexpr uint32_t milliseconds = 1000;
    kiv_interact_reply_end_set(wanted.marker ? KIV_INTERACT_END_MARKER : KIV_INTERACT_END_QUIET,
                               static_cast<uint32_t>(wanted.deadline) * milliseconds);
    if (!session.open())
        return fail("session", "the shell cannot be started");
    if (wanted.xml && kiv_interact_xml_show_on() != 0)
        return report_lost_shell(wanted);
    return done;
}

// A batch is read before a shell is started for it.
int run_request(const request &wanted)
{
    const user_output out;
    command_lines lines;
    if (const int status = lines.open(wanted.file); status != done)
        return status;
    std::string batch;
    size_t count = 0;
    if (wanted.conf) {
        if (const int status = read_batch(lines, batch, count); status != done)
            return status;
    }
    shell_session session;
    if (const int status = open_session(wanted, session); status != done)
        return status;
    return close_session(session, wanted.conf ? run_batch(wanted, lines, batch, count, out)
                                              : line_by_line(wanted, lines, out).run());
}

// Returns what is wrong with the option; empty: nothing.
std::string take_option(request &wanted, int code)
{
    switch (code) {
    case marker:
        wanted.marker = true;
        break;
    case xml:
        wanted.xml = true;
        break;
    case json:
        wanted.json = true;
        break;
    case conf:
        wanted.conf = true;
        break;
    default:
        if (!read_number(optarg, wanted.deadline) || wanted.deadline < 1 ||
            wanted.deadline > longest_deadline)
            return "--deadline takes 1 to " + std::to_string(longest_deadline) + " seconds";
    }
    return wanted.conf && wanted.xml ? "--xml does not go with --conf" : "";
}

} // namespace

int session_command(int argc, char **argv)
{
    request wanted;
    const auto ended = read_options(argc, argv, {"", options, usage},
                                    [&](int code) { return take_option(wanted, code); });
    if (ended)
        return *ended;
    if (argc - optind > 1)
        return refuse_usage(usage, argv[0], "only one FILE");
    if (optind < argc)
        wanted.file = argv[optind];
    return run_request(wanted);
}

} // namespace kivctl
