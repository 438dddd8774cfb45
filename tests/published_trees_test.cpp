// Publishing trees: whole or not at all, for readers at any time, wherever a publisher is killed.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/mapped_file.h"
#include "support/published_trees.h"
#include "support/unique_fd.h"
#include "temporary_directory.h"

namespace {

using kiv::support::mapped_file;
using kiv::support::publish_tree;
using kiv::support::published_tree;
using kiv::support::unique_fd;
using kiv_tests::temporary_directory;

// Says which version it is, at both ends, and has a length of its own.
std::string content_of(int version)
{
    const std::string name = std::to_string(version);
    const auto length = 20000 + static_cast<size_t>(version) % 97;
    return name + std::string(length, static_cast<char>('a' + version % 26)) + name;
}

constexpr const char *markers[] = {"merged0.par_done", "merged1.par_done", "merged2.par_done"};

constexpr int none = -1, damaged = -2;

// The version that a reader finds.
int found_version(const std::string &directory)
{
    const std::string path = published_tree(directory);
    mapped_file file;
    if (path.empty() || file.open(path.c_str(), 1 << 20) != 0)
        return none;
    const std::string content(file.bytes());
    const int version = std::atoi(content.c_str());
    return content == content_of(version) ? version : damaged;
}

int publish(const std::string &directory, int version)
{
    std::string name;
    return publish_tree(directory, content_of(version), name);
}

int wait_for(pid_t child)
{
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

pid_t start_process(const std::function<int()> &work)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit no_core{0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        _exit(work());
    }
    return child;
}

class PublishedTrees : public ::testing::Test {
protected:
    int found() const { return found_version(files.path()); }

    temporary_directory files;
};

TEST_F(PublishedTrees, AreTheNewestForFreshAndForOldProcesses)
{
    EXPECT_EQ(published_tree(files.path()), "");
    for (int version = 0; version < 12; ++version) {
        if (version % 3 == 1)
            ASSERT_EQ(wait_for(start_process([&] { return publish(files.path(), version); })), 0);
        else
            ASSERT_EQ(publish(files.path(), version), 0);
        ASSERT_EQ(found(), version) << "within a second, with counters of several processes";
    }
    for (const char *marker : markers) {
        files.write(marker, "1");
        files.set_time(marker, std::time(nullptr) + 86400);
    }
    for (int version = 12; version < 16; ++version) {
        ASSERT_EQ(publish(files.path(), version), 0);
        EXPECT_EQ(found(), version) << "after markers of times to come";
    }
}

TEST_F(PublishedTrees, AreAlwaysThereWhileManyPublish)
{
    ASSERT_EQ(publish(files.path(), 0), 0);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::vector<pid_t> publishers;
    for (int publisher = 1; publisher <= 3; ++publisher) {
        publishers.push_back(start_process([&] {
            int error = 0;
            for (int i = 0; i < 10 && error == 0; ++i)
                error = publish(files.path(), publisher * 100 + i);
            return error;
        }));
    }
    close(ends[1]);
    // The pipe ends with the last publisher.
    unique_fd alive(ends[0]);
    ASSERT_EQ(fcntl(alive.get(), F_SETFL, O_NONBLOCK), 0);
    char byte;
    do
        ASSERT_GE(found(), 0) << "none or damaged";
    while (read(alive.get(), &byte, 1) < 0);
    for (const pid_t publisher : publishers)
        EXPECT_EQ(wait_for(publisher), 0);
    EXPECT_EQ(found() % 100, 9) << "the last of one of them";
}

TEST_F(PublishedTrees, AreForEverybodyToRead)
{
    ASSERT_EQ(publish(files.path(), 1), 0);
    const mode_t before = umask(077);
    chmod(files.path("merged1.par").c_str(), 0600);
    EXPECT_EQ(publish(files.path(), 2), 0);
    umask(before);
    for (const char *name : {"merged1.par", "merged1.par_done"}) {
        struct stat status {};
        stat(files.path(name).c_str(), &status);
        EXPECT_EQ(status.st_mode & 0777U, 0644U) << name;
    }
}

TEST_F(PublishedTrees, AreRefusedWithAReason)
{
    ASSERT_EQ(publish(files.path(), 1), 0);
    ASSERT_EQ(mkdir(files.path("merged1.par_done").c_str(), 0755), 0);
    files.set_time("merged1.par_done", 1000);
    const std::string longest = files.path(std::string(109 - files.path().size(), 'd'));
    ASSERT_EQ(mkdir(longest.c_str(), 0755), 0);
    const std::pair<std::string, int> cases[] = {
        {files.path("missing"), ENOENT}, {files.path("merged0.par"), ENOTDIR}, {"", ENOENT},
        {files.path(), EISDIR},          {longest + "/", ENAMETOOLONG},
    };
    for (const auto &[directory, error] : cases) {
        std::string name = "unchanged";
        EXPECT_EQ(publish_tree(directory, "x", name), error) << directory;
        EXPECT_EQ(name, "unchanged");
    }
    EXPECT_EQ(found(), 1);
    EXPECT_EQ(published_tree(longest + "/"), "");
    EXPECT_EQ(publish(longest, 2), 0);
    EXPECT_EQ(found_version(longest), 2);
}

constexpr int tracing_refused = 100;

// Runs the work, and kills it at the entry of its system call with this number. Returns the raw
// wait status.
int killed_at_call(int number, const std::function<int()> &work)
{
    const pid_t child = start_process([&] {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            return errno == ENOSYS || errno == EPERM ? tracing_refused : 1;
        raise(SIGSTOP);
        return work();
    });
    int status = wait_for(child);
    if (WIFSTOPPED(status))
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
    bool in_call = false;
    while (WIFSTOPPED(status)) {
        const bool at_call = WSTOPSIG(status) == (SIGTRAP | 0x80);
        in_call = at_call ? !in_call : in_call;
        if (at_call && in_call && --number == 0)
            kill(child, SIGKILL);
        const int passed_on = at_call || WSTOPSIG(status) == SIGSTOP ? 0 : WSTOPSIG(status);
        ptrace(PTRACE_SYSCALL, child, nullptr, static_cast<intptr_t>(passed_on));
        status = wait_for(child);
    }
    return status;
}

// A publisher that is killed, and what readers and the next publisher find. Versions count up; the
// last that a process is known to have committed is in memory shared with it.
class KilledPublisher : public PublishedTrees {
protected:
    int publish_three() const
    {
        for (int i = 0; i < 3; ++i) {
            if (const int error = publish(files.path(), *acknowledged + 1); error != 0)
                return error;
            ++*acknowledged;
        }
        return 0;
    }

    // Another process publishes after all that has happened. What it made is then a while ago, as
    // the numbers of two processes within a second say nothing.
    void publish_after_crash() const
    {
        ++*acknowledged; // the version of the killed one is not used again
        ASSERT_EQ(wait_for(start_process([&] { return publish_three(); })), 0);
        ASSERT_EQ(found(), *acknowledged);
        for (const char *marker : markers) {
            struct stat status;
            if (stat(files.path(marker).c_str(), &status) == 0)
                files.set_time(marker, status.st_mtime - 86400);
        }
    }

    std::atomic<int> *const acknowledged =
        new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                  MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
};

TEST_F(KilledPublisher, LeavesTheOldOrTheNewVersionAtEveryCall)
{
    publish_after_crash();
    int old_versions = 0, new_versions = 0;
    for (int call = 1;; ++call) {
        const int status = killed_at_call(call, [&] { return publish_three(); });
        if (status == tracing_refused << 8)
            GTEST_SKIP() << "processes cannot be traced here";
        const int version = found();
        if (WIFEXITED(status)) {
            ASSERT_EQ(WEXITSTATUS(status), 0);
            ASSERT_EQ(version, *acknowledged);
            break;
        }
        ASSERT_TRUE(version == *acknowledged || version == *acknowledged + 1)
            << "call " << call << ": version " << version << " after " << *acknowledged;
        ++(version == *acknowledged ? old_versions : new_versions);
        ASSERT_NO_FATAL_FAILURE(publish_after_crash()) << "call " << call;
    }
    EXPECT_GT(old_versions, 20);
    EXPECT_GE(new_versions, 3);
    const auto entries = std::filesystem::directory_iterator(files.path());
    EXPECT_LE(std::distance(begin(entries), end(entries)), 8)
        << "files, markers, one unfinished, the lock";
}

TEST_F(KilledPublisher, LeavesTheOldVersionWhereTheDiskTakesHalf)
{
    publish_after_crash();
    const pid_t publisher = start_process([&] {
        const rlimit half{10000, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &half);
        return publish(files.path(), *acknowledged + 1);
    });
    EXPECT_EQ(wait_for(publisher), EFBIG << 8);
    EXPECT_EQ(found(), *acknowledged);
    publish_after_crash();
}

} // namespace
