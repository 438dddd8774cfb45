// Files read where they are.

#include <cerrno>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "bus_fault.h"
#include "support/mapped_file.h"
#include "support/unique_fd.h"
#include "temporary_directory.h"

namespace {

using kiv::support::mapped_file;
using kiv::support::unique_fd;

class MappedFile : public ::testing::Test {
protected:
    void SetUp() override { files.write("tree", content); }

    const std::string content = std::string(10000, 'x');
    kiv_tests::temporary_directory files;
    mapped_file file;
};

TEST_F(MappedFile, HoldsAFileUpToItsLimit)
{
    const struct {
        std::string path;
        size_t limit;
        int error;
        std::string content;
    } cases[] = {
        {files.path("tree"), 10000, 0, content},
        {files.path("tree"), 9999, EFBIG, ""},
        {"/dev/null", 0, 0, ""},
        {files.path("missing"), 10000, ENOENT, ""},
        {files.path(), 10000, EISDIR, ""},
        {"/proc/sys/kernel/ostype", 100, 0, "Linux\n"},
        {"/proc/sys/kernel/ostype", 4, EFBIG, ""},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(file.open(row.path.c_str(), row.limit), row.error) << row.path;
        EXPECT_EQ(file.bytes(), row.content) << row.path;
    }
}

TEST_F(MappedFile, ReadsStandardInputFromWhereItStands)
{
    const unique_fd regular(open(files.path("tree").c_str(), O_RDONLY));
    dup2(regular.get(), STDIN_FILENO);
    ASSERT_EQ(lseek(STDIN_FILENO, 9990, SEEK_SET), 9990);
    EXPECT_EQ(file.open("-", 100), 0);
    EXPECT_EQ(file.bytes(), content.substr(9990));
}

TEST_F(MappedFile, EndsTheReaderWhenItIsCut)
{
    SKIP_UNLESS_FAULTS_ARE_LOCATED();
    mapped_file first;
    files.write("first\n", content);
    ASSERT_EQ(first.open(files.path("first\n").c_str(), 10000), 0);
    ASSERT_EQ(file.open(files.path("tree").c_str(), 10000), 0);
    ASSERT_EQ(truncate(files.path("first\n").c_str(), 100), 0);
    EXPECT_EQ(std::string(file.bytes()), content);
    EXPECT_EXIT(std::string(first.bytes()), ::testing::ExitedWithCode(1),
                "^mapped_file_tes[^:]*: .*/first.x0a: was cut while in use\n$");
    first = mapped_file();
    EXPECT_EQ(std::string(file.bytes()), content);
}

TEST_F(MappedFile, LeavesOtherBusErrorsToTheSystem)
{
    SKIP_UNLESS_FAULTS_ARE_LOCATED();
    // What the sanitizer says of a fault that it meets itself.
    const char *other = "^$|AddressSanitizer: BUS";
    ASSERT_EQ(file.open(files.path("tree").c_str(), 10000), 0);
    EXPECT_DEATH(raise(SIGBUS), other);
    const unique_fd opened(open(files.path("tree").c_str(), O_RDONLY));
    void *elsewhere = mmap(nullptr, 10000, PROT_READ, MAP_SHARED, opened.get(), 0);
    ASSERT_NE(elsewhere, MAP_FAILED);
    ASSERT_EQ(truncate(files.path("tree").c_str(), 100), 0);
    EXPECT_DEATH(std::string(static_cast<const char *>(elsewhere), 10000), other);
    munmap(elsewhere, 10000);
}

} // namespace
