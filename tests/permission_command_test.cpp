// kivctl interfaces and kivctl roles as a user runs them.

#include <string>

#include <gmock/gmock.h>

#include "switch_root.h"
#include "usage.h"

namespace {

using switch_root::outcome;
using testing::HasSubstr;
using testing::StartsWith;

const std::string program = "'" KIVCTL_PATH "' ";

outcome run(const std::string &arguments)
{
    switch_root::require();
    return switch_root::run(program + arguments);
}

TEST(KivctlInterfaces, TellsWhatAUserMayDoAndWhy)
{
    const struct {
        const char *arguments;
        int status;
        const char *output;
    } rows[] = {
        {"--user-vsans 1-10,20 --type 8 --vsan 20", 0,
         "type       allowed  types 1 and 8 are open to every user\n"
         "vsans      allowed  virtual SAN 20 is the user's\n"},
        {"--user-vsans 1-10,20 --type 264 --vsan 19", 1,
         "type       allowed  types 1 and 8 are open to every user\n"
         "vsans      denied   virtual SAN 19 is not the user's\n"},
        {"--user-vsans none --type 2", 1,
         "type       denied   only types 1 and 8 are open to a restricted user\n"},
        {"--user-vsans 5 --vsan-set 1-5 --kind 1 --kind 8 --operation show", 0,
         "vsans      allowed  a virtual SAN of the set is the user's\n"},
        {"--user-vsans 0-4095 --type 2 --ifindex 16 --vsan 9999", 0,
         "type       allowed  the user may act on every virtual SAN\n"
         "interface  allowed  the user may act on every virtual SAN\n"
         "vsans      allowed  the user may act on every virtual SAN\n"},
        {"--user-vsans 1 --json --type 1 --vsan 2", 1,
         "[{\"check\": \"type\", \"allowed\": true, \"why\": \"types 1 and 8 are open to every "
         "user\"},\n {\"check\": \"vsans\", \"allowed\": false, \"why\": \"virtual SAN 2 is not "
         "the "
         "user's\"}]\n"},
    };
    for (const auto &row : rows) {
        const outcome told = run(std::string("interfaces check ") + row.arguments);
        EXPECT_EQ(told.status, row.status) << row.arguments;
        EXPECT_EQ(told.output, row.output) << row.arguments;
        EXPECT_EQ(told.error, "") << row.arguments;
    }
}

TEST(KivctlInterfaces, KeepsWhatTheLibrarySaysOutOfItsOutput)
{
    const outcome denied = run("interfaces check --user-vsans 1 --ifindex 16");
    EXPECT_EQ(denied.status, 1);
    EXPECT_EQ(denied.output,
              "interface  denied   the library denies every interface to a restricted user\n");
    EXPECT_EQ(denied.error, "kiv_is_interface_config_allowed: modified/stubbed!\n");
}

TEST(KivctlInterfaces, RefusesWrongUsage)
{
    switch_root::require();
    kiv_tests::expect_refused(
        program,
        {{"interfaces nothing",
          "kivctl interfaces: unexpected \"nothing\"\nusage: kivctl interfaces"},
         {"interfaces check", "kivctl interfaces check: no --user-vsans\n"},
         {"interfaces check --user-vsans 1", "kivctl interfaces check: nothing to check: "},
         {"interfaces check --user-vsans 5-1 --vsan 1",
          "kivctl interfaces check: --user-vsans needs virtual"},
         {"interfaces check --user-vsans 1 --vsan -1", "kivctl interfaces check: --vsan cannot be"},
         {"interfaces check --user-vsans 1 --vsan 1 --kind 8",
          "kivctl interfaces check: --kind 8 nee"},
         {"roles predefined network-admin",
          "kivctl roles predefined: unexpected \"network-admin\"\n"}});
    kiv_tests::expect_help(program, {"interfaces check", "roles predefined"});
}

TEST(KivctlRoles, ShowsThePredefinedOnes)
{
    const outcome shown = run("roles predefined");
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.output,
                HasSubstr("\nRole: svc-admin\n"
                          "Description: Predefined SVC Admin group. This role cannot be modified\n"
                          "Access to all SAN Volume Controller commands\n"));
    const std::string json = run("roles predefined --json").output;
    EXPECT_THAT(json, StartsWith("[{\"name\": \"network-admin\", \"description\": \"Predefined "));
    EXPECT_THAT(json, HasSubstr("\"detail\": \"Access to all the switch commands\"},\n {\"name\""));
    EXPECT_EQ(run("roles predefined >/dev/full").status, 1);
}

} // namespace
