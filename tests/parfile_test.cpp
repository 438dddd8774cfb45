// Files of parse trees that are replaced: the ring with its markers, and the numbered names.

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <kiv/parfile.h>

#include "observed.h"
#include "temporary_directory.h"

namespace {

using kiv_tests::temporary_directory;

class Ring : public ::testing::Test {
protected:
    void SetUp() override { select(3); }

    void select(int32_t count) { EXPECT_EQ(file_ha_init(files.path().c_str(), names, count), 0); }

    void set_marker(const std::string &name, const std::string &content, time_t seconds) const
    {
        files.write(name + "_done", content);
        files.set_time(name + "_done", seconds);
    }

    static std::string readable()
    {
        const char *name = file_ha_current_readable_filename();
        return name == nullptr ? "none" : name;
    }

    temporary_directory files;
    char names[3][KIV_PAR_FILE_NAME_SIZE] = {"a", "b", "c"};
};

TEST_F(Ring, HandsOutItsNamesInTurnAndHidesEach)
{
    EXPECT_EQ(readable(), "none");
    for (const char *name : {"a", "b", "c", "a", "b"}) {
        set_marker(name, "1", 1000);
        EXPECT_STREQ(file_ha_current_writable_filename(), name);
        EXPECT_FALSE(files.has(std::string(name) + "_done"));
        files.write(name, "tree");
        EXPECT_EQ(file_ha_commit(name), 0);
        EXPECT_EQ(readable(), name) << "the newest, also within a second";
    }
    EXPECT_EQ(files.read("b_done"), "5");
    select(1);
    EXPECT_STREQ(file_ha_current_writable_filename(), "a") << "place 2 of one";
    EXPECT_STREQ(file_ha_current_writable_filename(), "a");
    EXPECT_EQ(readable(), "none") << "b is not of this ring";
}

TEST_F(Ring, SendsReadersToTheNewestMarker)
{
    struct marker {
        const char *content; // null: no marker
        time_t seconds;
    };
    const struct {
        const char *fault;
        marker markers[3];
        const char *newest;
    } cases[] = {
        {"time before number", {{"9", 1000}, {"1", 2000}, {"5", 1500}}, "b"},
        {"number within a second", {{"1", 1000}, {"3", 1000}, {"2", 1000}}, "b"},
        {"first of equals", {{}, {"3", 1000}, {"3", 1000}}, "b"},
        {"text behind the number", {{" +12x", 1000}, {"11", 1000}, {"-4", 1000}}, "a"},
        {"no number is -1", {{"x", 1000}, {"", 1000}, {"0", 1000}}, "c"},
        {"nothing below -1", {{"-2", 1000}, {"x", 1000}, {"-3", 1000}}, "b"},
        {"out of range", {{"2147483646", 1000}, {"99999999999999999999", 1000}, {}}, "b"},
        {"the only one, unreadable", {{}, {}, {"x", 1000}}, "c"},
        {"time 0 needs a number above 0", {{"0", 0}, {"1", 0}, {"x", 0}}, "b"},
        {"before all time", {{"1", -5}, {}, {}}, "none"},
    };
    for (const auto &row : cases) {
        for (size_t i = 0; i < 3; ++i) {
            unlink((files.path(names[i]) + "_done").c_str());
            if (row.markers[i].content != nullptr)
                set_marker(names[i], row.markers[i].content, row.markers[i].seconds);
        }
        EXPECT_EQ(readable(), row.newest) << row.fault;
    }
}

TEST_F(Ring, TakesWhateverIsInThePlaceOfAMarker)
{
    ASSERT_EQ(mkdir(files.path("a_done").c_str(), 0755), 0);
    files.set_time("a_done", 2000);
    set_marker("b", "1", 2000);
    set_marker("c", "7", 1000);
    EXPECT_EQ(readable(), "b") << "a directory has no number";
    EXPECT_STREQ(file_ha_current_writable_filename(), "a");
    EXPECT_EQ(file_ha_commit("a"), -1);
    EXPECT_STREQ(file_ha_current_writable_filename(), "b");
    ASSERT_EQ(mkfifo(files.path("b_done").c_str(), 0600), 0);
    files.set_time("b_done", 500);
    EXPECT_EQ(readable(), "a") << "and nobody waits for the other end of a pipe";
    EXPECT_EQ(file_ha_commit("b"), -1);
}

TEST_F(Ring, CommitsAWholeMarkerOrNone)
{
    EXPECT_EQ(file_ha_commit("b"), 0);
    const int number = std::stoi(files.read("b_done"));
    ASSERT_EQ(unlink(files.path("b_done").c_str()), 0);
    ASSERT_EQ(symlink("/dev/full", files.path("a_done").c_str()), 0);
    EXPECT_EQ(file_ha_commit("a"), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(readable(), "none");
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit size{0, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &size), 0);
    EXPECT_EQ(file_ha_commit("b"), -1);
    EXPECT_FALSE(files.has("b_done"));
    size.rlim_cur = RLIM_INFINITY;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &size), 0);
    EXPECT_EQ(file_ha_commit("missing/a"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(file_ha_commit(nullptr), -1);
    EXPECT_EQ(file_ha_commit("c"), 0);
    EXPECT_EQ(files.read("c_done"), std::to_string(number + 1)) << "what failed was counted";
}

TEST_F(Ring, TouchesNothingWhereAPathDoesNotFit)
{
    // "DIRECTORY/NAME_done" of 127 and of 128 characters: the name is a whole field.
    for (const size_t length : {127U, 128U}) {
        std::string name(KIV_PAR_FILE_NAME_SIZE, 'n');
        const size_t rest = length - name.size() - strlen("/_done") - files.path().size() - 1;
        const std::string directory = files.path(std::string(rest, 'd'));
        ASSERT_EQ(mkdir(directory.c_str(), 0755), 0);
        name.copy(names[0], name.size());
        file_ha_init(directory.c_str(), names, 1);
        EXPECT_EQ(file_ha_current_writable_filename(), names[0]);
        EXPECT_EQ(file_ha_commit(names[0]), length == 127 ? 0 : -1);
        EXPECT_EQ(file_ha_current_readable_filename(), length == 127 ? names[0] : nullptr);
        EXPECT_EQ(std::filesystem::is_empty(directory), length == 128);
    }
}

TEST_F(Ring, NeedsANameAndDoesNothingWithoutADirectory)
{
    file_ha_init(files.path().c_str(), nullptr, 3);
    EXPECT_EQ(file_ha_current_writable_filename(), nullptr);
    EXPECT_EQ(readable(), "none");
    file_ha_init(nullptr, names, 3);
    EXPECT_NE(file_ha_current_writable_filename(), nullptr);
    EXPECT_EQ(file_ha_commit("a"), -1);
    EXPECT_EQ(readable(), "none");
    select(0);
    EXPECT_EQ(readable(), "none");
    EXPECT_DEATH(file_ha_current_writable_filename(),
                 kiv_tests::failure("parfile", "file_ha_current_writable_filename", "count > 0"));
}

// Begins with the names in a directory.
std::string begin(const std::string &directory)
{
    const std::string printed =
        kiv_tests::printed([&] { kivd_dynamic_parfile_init(directory.c_str()); });
    EXPECT_EQ(printed, "kivd_dynamic_parfile_init: directory_name = " + directory + "\n");
    EXPECT_STREQ(new_dynamic_par_file, current_dynamic_par_file);
    return current_dynamic_par_file;
}

TEST(DynamicNames, BeginAboveTheHighestNumber)
{
    const struct {
        std::vector<const char *> present;
        const char *removed; // null: nothing
        const char *first;
    } cases[] = {
        {{}, nullptr, "main_tree2.par"},
        {{"main_tree.par", "main_tree1.par"}, "main_tree1.par", "main_tree2.par"},
        {{"main_tree3.par", "main_tree12.par"}, "main_tree12.par", "main_tree13.par"},
        {{"main_tree99", "x.main_tree7.par.gz"}, nullptr, "main_tree8.par"},
        {{"main_tree-5.par", "main_treeX.par", "main_tree 4x.par"}, nullptr, "main_tree5.par"},
        {{"main_tree4294967294.par"}, "main_tree4294967294.par", "main_tree4294967295.par"},
        {{"main_tree4294967295.par", "main_tree99999999999999999999.par", "main_tree6.par"},
         "main_tree6.par",
         "main_tree7.par"},
    };
    for (const auto &row : cases) {
        const temporary_directory own;
        for (const char *name : row.present)
            own.write(name, "");
        EXPECT_EQ(begin(own.path()), row.first);
        for (const char *name : row.present)
            EXPECT_EQ(own.has(name), row.removed == nullptr || strcmp(name, row.removed) != 0)
                << name;
    }
    for (const std::string &missing : {std::string("/missing"), std::string(5000, 'x')})
        EXPECT_EQ(begin(missing), "main_tree2.par");
    kiv_tests::printed([] { EXPECT_STREQ(kivd_dynamic_parfile_init(nullptr), "main_tree2.par"); });
}

TEST(DynamicNames, AreReplacedWhenTheNewTreeIsWrittenAndDiscardedAfterACrash)
{
    const temporary_directory files;
    EXPECT_EQ(begin(files.path()), "main_tree2.par");
    EXPECT_EQ(kivd_get_new_dynamic_parfile_name(), new_dynamic_par_file);
    EXPECT_STREQ(new_dynamic_par_file, "main_tree3.par");
    EXPECT_STREQ(kivd_get_current_dynamic_parfile_name(), "main_tree2.par");
    files.write("main_tree3.par", "whole");
    EXPECT_STREQ(kivd_update_current_dynamic_parfile_name(), "main_tree3.par");
    files.write(kivd_get_new_dynamic_parfile_name(), "ha");
    EXPECT_EQ(begin(files.path()), "main_tree5.par") << "after a crash in the middle";
    EXPECT_FALSE(files.has("main_tree4.par"));
    EXPECT_EQ(files.read("main_tree3.par"), "whole");
}

} // namespace
