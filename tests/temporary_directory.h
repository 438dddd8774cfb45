// A directory of the test's own, and what tests do to the files in it.
#ifndef KIV_TESTS_TEMPORARY_DIRECTORY_H
#define KIV_TESTS_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace kiv_tests {

class temporary_directory {
public:
    temporary_directory()
    {
        // In memory where there is such a place: some tests have files synchronised often.
        std::string name =
            std::filesystem::is_directory("/dev/shm") ? "/dev/shm/kiv.XXXXXX" : "/tmp/kiv.XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr) << name;
        path_ = name;
    }
    ~temporary_directory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_directory(const temporary_directory &) = delete;
    temporary_directory &operator=(const temporary_directory &) = delete;

    const std::string &path() const { return path_; }
    std::string path(const std::string &name) const { return path_ + "/" + name; }

    void write(const std::string &name, const std::string &content) const
    {
        std::ofstream file(path(name), std::ios::binary);
        file << content;
        EXPECT_TRUE(file.flush().good()) << name;
    }

    std::string read(const std::string &name) const
    {
        std::ostringstream content;
        content << std::ifstream(path(name), std::ios::binary).rdbuf();
        return content.str();
    }

    bool has(const std::string &name) const { return std::filesystem::exists(path(name)); }

    void set_time(const std::string &name, time_t seconds) const
    {
        const timespec times[] = {{seconds, 0}, {seconds, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0) << name;
    }

private:
    std::string path_;
};

} // namespace kiv_tests

#endif
