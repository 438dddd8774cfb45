// The names of queues: who gets one, when, and with which permissions.

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/platform/ovra.h>

#include "switch_root.h"
#include "transport_peer.h"

using namespace transport_peer;

namespace {

constexpr const char *lock_path = "/run/kiv/FE000000-500.lock";
constexpr const char *temporary_path = "/run/kiv/FE000000-500.new";
constexpr mode_t permissions = 0640;

class Names : public testing::Test {
protected:
    void SetUp() override { switch_root::require(); }
};

int open_error(uint32_t mode = permissions)
{
    const int queue = ovra_open(service_address, mode);
    if (queue < 0)
        return errno;
    ovra_close(queue);
    return 0;
}

mode_t mode_of(const char *path)
{
    struct stat found {};
    return lstat(path, &found) == 0 ? found.st_mode & 07777 : mode_t{077777};
}

bool exists(const char *path)
{
    return access(path, F_OK) == 0;
}

constexpr int no_other_user = 77;

// What another user, if the test can be one, gets of opening the queue.
int open_error_of_other_user(mode_t mode_of_the_folder)
{
    process other([](process &parent) {
        if (geteuid() == 0 && seteuid(65'534) != 0)
            return no_other_user;
        return parent.await() ? open_error() : -1;
    });
    chmod("/run/kiv", mode_of_the_folder);
    other.tell();
    const int result = other.end();
    chmod("/run/kiv", 0755);
    return result;
}

} // namespace

TEST_F(Names, TheSocketComesAndGoesWithTheQueue)
{
    rmdir("/run/kiv");
    const mode_t before = umask(077);
    const int queue = ovra_open(service_address, 0666);
    umask(before);
    ASSERT_GE(queue, 0);
    // The folder is bound there under proot, where it cannot go away.
    EXPECT_EQ(mode_of("/run/kiv"), 0755U);
    EXPECT_EQ(mode_of(service_path), 0666U);
    EXPECT_FALSE(exists(temporary_path));
    EXPECT_EQ(open_error(), EADDRINUSE) << "in the same process";
    EXPECT_EQ(process([](process &) { return open_error() == EADDRINUSE ? 0 : 1; }).end(), 0);
    EXPECT_EQ(ovra_close(queue), 0);
    EXPECT_FALSE(exists(service_path));
    EXPECT_EQ(open_error(), 0);
}

TEST_F(Names, WhatADeadProcessLeftIsTakenOver)
{
    process dying([](process &parent) {
        const int queue = ovra_open(service_address, permissions);
        parent.tell();
        return queue < 0 || parent.await() ? 1 : 0;
    });
    ASSERT_TRUE(dying.await());
    EXPECT_EQ(open_error(), EADDRINUSE);
    dying.kill();
    EXPECT_TRUE(exists(service_path));
    rename(service_path, temporary_path); // as if it had died on the way
    open_listener();
    EXPECT_EQ(open_error(), 0);
    EXPECT_FALSE(exists(service_path));
    EXPECT_FALSE(exists(temporary_path));
}

TEST_F(Names, AChildDoesNotKeepTheName)
{
    const int queue = ovra_open(service_address, permissions);
    ASSERT_GE(queue, 0);
    process child([](process &parent) { return parent.await() ? 0 : 1; });
    EXPECT_EQ(ovra_close(queue), 0);
    EXPECT_EQ(open_error(), 0);
    child.tell();
    EXPECT_EQ(child.end(), 0);
}

TEST_F(Names, AListenerThatTookTheNameKeepsIt)
{
    const int queue = ovra_open(service_address, permissions);
    ASSERT_GE(queue, 0);
    const socket_end stolen = open_listener();
    EXPECT_EQ(ovra_close(queue), 0);
    EXPECT_TRUE(exists(service_path));
    EXPECT_EQ(open_error(), EADDRINUSE);
    EXPECT_TRUE(exists(service_path));
}

TEST_F(Names, WhatIsNoSocketStaysAndIsAnError)
{
    for (const char *path : {service_path, temporary_path}) {
        switch_root::write_file(path, "precious");
        EXPECT_EQ(open_error(), EEXIST) << path;
        EXPECT_EQ(switch_root::read_file(path), "precious");
        unlink(path);
        EXPECT_EQ(symlink("/ubex/elsewhere", path), 0);
        EXPECT_EQ(open_error(), EEXIST) << path;
        unlink(path);
    }
    unlink(lock_path);
    EXPECT_EQ(symlink("/ubex/elsewhere", lock_path), 0);
    EXPECT_EQ(open_error(), ELOOP);
    EXPECT_FALSE(exists("/ubex/elsewhere"));
    unlink(lock_path);
    EXPECT_EQ(open_error(), 0);
}

TEST_F(Names, WhatMayNotBeTouchedIsAnErrorAndStays)
{
    EXPECT_THAT(open_error_of_other_user(0555), testing::AnyOf(EACCES, no_other_user));
    EXPECT_FALSE(exists(service_path));
    const socket_end listener = open_listener();
    chmod(service_path, 0600);
    const int result = open_error_of_other_user(0777);
    unlink(lock_path);
    if (geteuid() != 0 || result == no_other_user)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(result, EACCES);
    EXPECT_TRUE(exists(service_path));
}

TEST_F(Names, OneOfManyGetsTheName)
{
    for (int round = 0; round < 10; ++round) {
        open_listener(); // leftovers
        std::array<std::unique_ptr<process>, 4> rivals;
        for (auto &rival : rivals) {
            rival = std::make_unique<process>([](process &parent) {
                parent.tell();
                parent.await();
                const int queue = ovra_open(service_address, permissions);
                const int result = queue >= 0 ? 0 : errno == EADDRINUSE ? 1 : 2;
                parent.tell();
                parent.await();
                return result;
            });
        }
        const auto meet = [&rivals] {
            for (const auto &rival : rivals)
                EXPECT_TRUE(rival->await());
            for (const auto &rival : rivals)
                rival->tell();
        };
        meet(); // before they try, and after
        meet();
        std::array<int, 3> results{}; // won, lost, failed
        for (const auto &rival : rivals)
            ++results.at(static_cast<size_t>(rival->end()));
        EXPECT_EQ(results, (std::array{1, 3, 0})) << "round " << round;
    }
}

// Somebody who looks all the time never finds other permissions than the final ones, or none.
TEST_F(Names, ASocketNeverHasOtherPermissions)
{
    process watcher([](process &parent) {
        alarm(60);
        parent.tell();
        int seen = 0;
        while (seen < 100) {
            const mode_t final = mode_of(service_path);
            const mode_t temporary = mode_of(temporary_path);
            if (final != 077777 && final != permissions)
                return 1;
            if (temporary != 077777 && temporary != 0 && temporary != permissions)
                return 2;
            seen += final == permissions ? 1 : 0;
        }
        parent.tell();
        return 0;
    });
    ASSERT_TRUE(watcher.await());
    umask(0);
    std::atomic<bool> is_done = false;
    std::thread waiting([&] {
        watcher.await();
        is_done = true;
    });
    while (!is_done)
        EXPECT_EQ(open_error(), 0);
    waiting.join();
    EXPECT_EQ(watcher.end(), 0);
}
