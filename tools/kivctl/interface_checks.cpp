// What a user may do on interfaces and virtual SANs, as the library says.

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/kiv_process_api.h>

#include "commands.h"
#include "interface_jobs.h"
#include "library_output.h"
#include "options.h"
#include "report.h"
#include "tree/json.h"
#include "vsan_list.h"

namespace kivctl {

namespace {

enum option_code : int {
    user_vsans = first_own_code,
    type,
    ifindex,
    vsan,
    vsan_set,
    kind,
    operation,
    json
};

constexpr std::array options{
    option{"user-vsans", required_argument, nullptr, user_vsans},
    option{"type", required_argument, nullptr, type},
    option{"ifindex", required_argument, nullptr, ifindex},
    option{"vsan", required_argument, nullptr, vsan},
    option{"vsan-set", required_argument, nullptr, vsan_set},
    option{"kind", required_argument, nullptr, kind},
    option{"operation", required_argument, nullptr, operation},
    option{"json", no_argument, nullptr, json},
    help_option,
    no_more_options,
};

struct request {
    std::optional<bmask4096> user;
    std::optional<bmask4096> set;
    std::optional<uint32_t> type;
    std::optional<uint32_t> ifindex;
    std::optional<uint32_t> vsan;
    std::vector<int32_t> kinds;
    int32_t operation = 0;
    bool json = false;

    bool shows() const { return operation == KIV_INTF_OPERATION_SHOW; }
    bool has_kind(int32_t wanted) const { return std::ranges::count(kinds, wanted) > 0; }
};

// What is wrong with an option; empty: nothing.
using complaint = std::string;

complaint take_list(const char *name, std::optional<bmask4096> &to)
{
    to = KIV_BMP_INIT(KIV_VSAN_BITS);
    if (read_vsans(optarg, *to))
        return {};
    return std::string(name) + " needs virtual SANs such as 1-10,20, not \"" + optarg + '"';
}

complaint take_number(const char *name, int32_t &to)
{
    if (read_number(optarg, to))
        return {};
    return std::string(name) + " needs a number, not \"" + optarg + '"';
}

complaint take_number(const char *name, std::optional<uint32_t> &to)
{
    int32_t number = 0;
    complaint found = take_number(name, number);
    to = static_cast<uint32_t>(number);
    if (found.empty() && number < 0)
        found = std::string(name) + " cannot be below 0";
    return found;
}

complaint take_kind(request &wanted)
{
    constexpr size_t most = 2;
    if (wanted.kinds.size() == most)
        return "--kind can be given twice only";
    return take_number("--kind", wanted.kinds.emplace_back());
}

complaint take_operation(request &wanted)
{
    if (std::string_view(optarg) != "show")
        return take_number("--operation", wanted.operation);
    wanted.operation = KIV_INTF_OPERATION_SHOW;
    return {};
}

complaint take_option(request &wanted, int code)
{
    switch (code) {
    case user_vsans:
        return take_list("--user-vsans", wanted.user);
    case vsan_set:
        return take_list("--vsan-set", wanted.set);
    case type:
        return take_number("--type", wanted.type);
    case ifindex:
        return take_number("--ifindex", wanted.ifindex);
    case vsan:
        return take_number("--vsan", wanted.vsan);
    case kind:
        return take_kind(wanted);
    case operation:
        return take_operation(wanted);
    default:
        wanted.json = true;
        return {};
    }
}

complaint check(const request &wanted)
{
    const bool about_vsans = wanted.vsan.has_value() || wanted.set.has_value();
    if (!wanted.user)
        return "no --user-vsans";
    if (!about_vsans && !wanted.kinds.empty())
        return "--kind needs --vsan or --vsan-set";
    if (!about_vsans && !wanted.type && !wanted.ifindex)
        return "nothing to check: give --type, --ifindex, --vsan or --vsan-set";
    if (wanted.has_kind(KIV_INTF_KIND_VSAN_SET) && !wanted.set)
        return "--kind 8 needs --vsan-set";
    if (about_vsans && !wanted.has_kind(KIV_INTF_KIND_VSAN_SET) && !wanted.vsan)
        return "without --kind 8 it is --vsan that is checked";
    return {};
}

struct verdict {
    std::string_view check;
    bool allowed;
    std::string why;
};

verdict check_type(const request &wanted)
{
    const bool allowed =
        kiv_intf_type_perm_check(&*wanted.user, *wanted.type, wanted.operation) != 0;
    if (!allowed)
        return {"type", allowed, "only types 1 and 8 are open to a restricted user"};
    return {"type", allowed,
            wanted.shows() ? "every type may be shown" : "types 1 and 8 are open to every user"};
}

verdict check_interface(const request &wanted)
{
    auto *run = wanted.shows() ? kiv_is_interface_display_allowed : kiv_is_interface_config_allowed;
    return {"interface", run(nullptr, &*wanted.user, *wanted.ifindex) != 0,
            "the library denies every interface to a restricted user"};
}

std::string why_of_vsans(const request &wanted, bool allowed)
{
    const bool by_set = wanted.has_kind(KIV_INTF_KIND_VSAN_SET);
    if (!wanted.shows() && (by_set || wanted.has_kind(KIV_INTF_KIND_TYPED)))
        return "of the kinds 4 and 8, a restricted user may only show";
    if (by_set)
        return allowed ? "a virtual SAN of the set is the user's"
                       : "no virtual SAN of the set is the user's";
    return "virtual SAN " + std::to_string(*wanted.vsan) +
           (allowed ? " is the user's" : " is not the user's");
}

verdict check_vsans(const request &wanted)
{
    const auto kind_at = [&](size_t place) {
        return place < wanted.kinds.size() ? wanted.kinds[place] : 0;
    };
    const fc_intf_perm_req asked{&*wanted.user,
                                 0,
                                 kind_at(0),
                                 kind_at(1),
                                 wanted.vsan.value_or(0),
                                 wanted.set ? &*wanted.set : nullptr,
                                 wanted.operation};
    const bool allowed = kiv_fc_intf_perm_check(&asked) != 0;
    return {"vsans", allowed, why_of_vsans(wanted, allowed)};
}

std::vector<verdict> run_checks(const request &wanted)
{
    const library_on_standard_error redirected;
    std::vector<verdict> verdicts;
    if (wanted.type)
        verdicts.push_back(check_type(wanted));
    if (wanted.ifindex)
        verdicts.push_back(check_interface(wanted));
    if (wanted.vsan || wanted.set)
        verdicts.push_back(check_vsans(wanted));
    if (kiv_is_user_vsan_restricted(&*wanted.user) == 0) {
        for (verdict &each : verdicts)
            each.why = "the user may act on every virtual SAN";
    }
    return verdicts;
}

std::string as_line(const verdict &given)
{
    std::string line(given.check);
    line.resize(11, ' ');
    return line.append(given.allowed ? "allowed  " : "denied   ").append(given.why).append("\n");
}

std::string as_json(const std::vector<verdict> &verdicts)
{
    std::string text;
    for (const verdict &each : verdicts) {
        kiv::tree::json_object object;
        object.add_text("check", each.check).add_flag("allowed", each.allowed);
        object.add_text("why", each.why);
        text.append(text.empty() ? "[" : ",\n ").append(object.text());
    }
    return text + "]\n";
}

int report(const std::vector<verdict> &verdicts, bool in_json)
{
    std::string text = in_json ? as_json(verdicts) : "";
    for (const verdict &each : verdicts)
        text += in_json ? "" : as_line(each);
    const int printed = print(text);
    return std::ranges::all_of(verdicts, &verdict::allowed) ? printed : static_cast<int>(failed);
}

} // namespace

int check_interfaces(int argc, char **argv)
{
    request wanted;
    const auto ended = read_options(argc, argv, {"", options, interfaces_usage},
                                    [&](int code) { return take_option(wanted, code); });
    if (ended)
        return *ended;
    if (optind != argc)
        return refuse_usage(interfaces_usage);
    if (const complaint found = check(wanted); !found.empty())
        return refuse_usage(interfaces_usage, argv[0], found);
    return report(run_checks(wanted), wanted.json);
}

} // namespace kivctl
