// kivctl interfaces: the types that are registered, and what a user may do on interfaces.

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

#include <kiv/kiv_process_api.h>

#include "commands.h"
#include "daemon_client.h"
#include "interface_jobs.h"
#include "library_output.h"
#include "listing.h"

namespace kivctl {

const char *const interfaces_usage =
    "usage: kivctl interfaces [--json]\n"
    "       kivctl interfaces check --user-vsans LIST [OPTION...]\n"
    "\n"
    "Lists the types of interfaces that modules have registered with the daemon.\n"
    "\n"
    "check asks the library what a user may do who is permitted on the virtual SANs of LIST, such "
    "as\n"
    "1-10,20, or all, or none. Says for each check whether it allows or denies, and why. Exit\n"
    "status 0 where all allow, 1 where one denies.\n"
    "\n"
    "  --type N         check a type of interfaces\n"
    "  --ifindex N      check one interface: its display for the operation show, else its\n"
    "                   configuration\n"
    "  --vsan N         check a virtual SAN\n"
    "  --vsan-set LIST  check a set of virtual SANs; --kind 8 has the set looked at\n"
    "  --kind N         with --vsan or --vsan-set: a kind of the request, two at most\n"
    "  --operation N    what the user wants to do, show or a number; 0 without this\n"
    "  --json           print a list of JSON objects: check, allowed and why\n";

namespace {

int ask_for_table(int queue, kiv_interface_table_entry *&entries)
{
    const library_on_standard_error redirected;
    return kivd_interface_table_get(queue, &entries);
}

std::string hexadecimal_mask(uint64_t mask)
{
    std::array<char, 24> text;
    std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(mask));
    return text.data();
}

int list_interfaces(int argc, char **argv)
{
    bool in_json = false;
    if (const auto ended = read_json_alone(argc, argv, interfaces_usage, in_json))
        return *ended;
    const message_queue queue;
    kiv_interface_table_entry *received = nullptr;
    const int count = queue.number() < 0 ? -1 : ask_for_table(queue.number(), received);
    if (count < 0)
        return fail_request("interfaces", -1);
    const owned<kiv_interface_table_entry> entries(received);
    listing all({"type", "mask", "library", "priority"});
    for (int i = 0; i < count; ++i) {
        const kiv_interface_table_entry &entry = received[i];
        all.add({entry.name, hexadecimal_mask(entry.intf_mask), entry.library_name,
                 int64_t{entry.ascii_gen_priority}});
    }
    return all.print(in_json);
}

} // namespace

int interfaces_command(int argc, char **argv)
{
    const std::string_view job = argc > 1 ? argv[1] : "";
    return job == "check" ? run_word(argc, argv, check_interfaces) : list_interfaces(argc, argv);
}

} // namespace kivctl
