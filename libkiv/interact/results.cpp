#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "markers.h"
#include "report.h"
#include "session.h"

namespace {

using namespace kiv::interact;

struct freed {
    void operator()(char *text) const { std::free(text); }
    void operator()(kiv_interact_ret_info *record) const { kiv_interact_ret_info_free(record); }
};

using owned_text = std::unique_ptr<char, freed>;
using owned_record = std::unique_ptr<kiv_interact_ret_info, freed>;

constexpr size_t nowhere = std::string_view::npos;

owned_record new_record()
{
    auto *record = static_cast<kiv_interact_ret_info *>(std::malloc(sizeof(kiv_interact_ret_info)));
    if (record != nullptr)
        *record = {KIV_INTERACT_CALLBACK_ERROR, nullptr, nullptr};
    return owned_record(record);
}

char *copy_of(std::string_view text)
{
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

// Where the marker begins: anywhere in the reply, but only at its end where markers end replies.
size_t position_of(std::string_view marker, std::string_view reply)
{
    if (!current.by_marker())
        return reply.find(marker);
    return reply.ends_with(marker) ? reply.size() - marker.size() : nowhere;
}

bool succeeded(std::string_view reply)
{
    return position_of(success_marker, reply) != nowhere;
}

owned_text reply_to(const char *command)
{
    return owned_text(kiv_interact_exec_single_cmd(command));
}

bool is_disabled_show(std::string_view command, std::string_view reply)
{
    return command.starts_with(show_command) && reply == success_marker;
}

// Status and output of a reply without success, in a batch. False without memory.
bool describe_failure(kiv_interact_ret_info &record, std::string_view reply, const char *line)
{
    const size_t parse_error = position_of(parse_marker, reply);
    const size_t error = position_of(error_marker, reply);
    if (parse_error != nowhere)
        record.status = KIV_INTERACT_PARSE_ERROR;
    const std::string_view output = reply.substr(0, std::min(parse_error, error));
    if (!output.empty())
        record.output = copy_of(output);
    record.failed_cmd = copy_of(line);
    return (output.empty() || record.output != nullptr) && record.failed_cmd != nullptr;
}

bool describe_disabled_mode(kiv_interact_ret_info &record, std::string_view reply)
{
    if (reply == parse_marker)
        record.status = KIV_INTERACT_PARSE_ERROR;
    record.output = copy_of("Configuration mode is currently disabled");
    record.failed_cmd = copy_of("configure terminal");
    return record.output != nullptr && record.failed_cmd != nullptr;
}

// In configuration mode: the lines up to the first one that fails. False where an exchange failed
// or memory was short; the latter only after the mode has been left.
bool run_lines(kiv_interact_ret_info &record, char *lines)
{
    bool described = true;
    record.status = KIV_INTERACT_SUCCESS;
    char *rest = nullptr;
    for (char *line = strtok_r(lines, "\n", &rest); line != nullptr;
         line = strtok_r(nullptr, "\n", &rest)) {
        const owned_text reply = reply_to(line);
        if (reply == nullptr)
            return false;
        if (succeeded(reply.get()))
            continue;
        record.status = KIV_INTERACT_CALLBACK_ERROR;
        described = describe_failure(record, reply.get(), line);
        break;
    }
    return reply_to("end\n") != nullptr && described;
}

int exchange_only(const char *command)
{
    return reply_to(command) == nullptr ? -1 : 0;
}

} // namespace

kiv_interact_ret_info *kiv_interact_exec_scrpt_cmd(const char *cmd) noexcept
{
    owned_record record = new_record();
    if (record == nullptr) {
        KIV_INTERACT_REPORT("memory alloc failure\n");
        return nullptr;
    }
    const owned_text answer = reply_to(cmd);
    if (answer == nullptr)
        return nullptr;
    const std::string_view reply = answer.get();
    if (succeeded(reply) && !is_disabled_show(cmd, reply)) {
        record->status = KIV_INTERACT_SUCCESS;
        record->output = copy_of(reply.substr(0, position_of(success_marker, reply)));
        if (record->output != nullptr)
            return record.release();
        std::printf("malloc failed");
        return nullptr;
    }
    const size_t error = position_of(error_marker, reply);
    if (error == nowhere || error == 0)
        return record.release();
    record->output = copy_of(reply.substr(0, error));
    if (record->output != nullptr)
        return record.release();
    KIV_INTERACT_REPORT("malloc failed");
    return nullptr;
}

kiv_interact_ret_info *kiv_interact_exec_conf_cmds(const char *cmds) noexcept
{
    const owned_text lines(cmds == nullptr ? nullptr : copy_of(cmds));
    owned_record record = new_record();
    if (lines == nullptr || record == nullptr) {
        KIV_INTERACT_REPORT(cmds == nullptr ? "no command" : "memory alloc");
        return nullptr;
    }
    const owned_text entered = reply_to("conf t\n");
    if (entered == nullptr)
        return nullptr;
    const bool enabled = succeeded(entered.get());
    const bool done =
        enabled ? run_lines(*record, lines.get()) : describe_disabled_mode(*record, entered.get());
    return done ? record.release() : nullptr;
}

int kiv_interact_xml_show_on() noexcept
{
    return exchange_only("xml-show on\n");
}

int kiv_interact_xml_show_off() noexcept
{
    return exchange_only("xml-show off\n");
}
