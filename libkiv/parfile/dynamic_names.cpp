// The numbered names, a fresh one for each merged tree.

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <unistd.h>

#include <kiv/parfile.h>

#include "state.h"

char current_dynamic_par_file[KIV_PAR_FILE_NAME_SIZE];
char new_dynamic_par_file[KIV_PAR_FILE_NAME_SIZE];

namespace {

using kiv::parfile;

constexpr std::string_view stem = "main_tree";

struct directory_closer {
    void operator()(DIR *directory) const { closedir(directory); }
};

// Numbers beyond this are nobody's: with them, the next one would start over.
constexpr long long highest_number = UINT32_MAX - 1;

// The number between the stem and the next point, 0 where there is none.
uint32_t number_of(const char *file)
{
    const char *found = std::strstr(file, stem.data());
    if (found == nullptr || std::strchr(found + stem.size(), '.') == nullptr)
        return 0;
    const long long number = std::strtoll(found + stem.size(), nullptr, 10);
    return number < 0 || number > highest_number ? 0 : static_cast<uint32_t>(number);
}

uint32_t kivd_init_sequence_no(const char *dir)
{
    uint32_t highest = 1;
    const std::unique_ptr<DIR, directory_closer> opened(dir == nullptr ? nullptr : opendir(dir));
    if (!opened)
        return highest;
    while (const dirent *entry = readdir(opened.get()))
        highest = std::max(highest, number_of(entry->d_name));
    return highest;
}

void write_name(char (&into)[KIV_PAR_FILE_NAME_SIZE])
{
    std::snprintf(into, sizeof into, "%s%u.par", stem.data(), parfile.sequence_number);
}

void remove_from_directory(const char *name)
{
    kiv::fixed_text<PATH_MAX> path;
    path.append(parfile.directory == nullptr ? "" : parfile.directory).append("/").append(name);
    if (parfile.directory != nullptr && !path.overflowed())
        unlink(path.c_str());
}

} // namespace

char *kivd_dynamic_parfile_init(const char *dir) noexcept
{
    parfile.directory = dir;
    std::printf("%s: directory_name = %s\n", __func__, dir == nullptr ? "" : dir);
    parfile.sequence_number = kivd_init_sequence_no(dir);
    write_name(new_dynamic_par_file);
    remove_from_directory(new_dynamic_par_file);
    kivd_get_new_dynamic_parfile_name();
    return kivd_update_current_dynamic_parfile_name();
}

char *kivd_get_new_dynamic_parfile_name() noexcept
{
    ++parfile.sequence_number;
    write_name(new_dynamic_par_file);
    return new_dynamic_par_file;
}

char *kivd_update_current_dynamic_parfile_name() noexcept
{
    std::memcpy(current_dynamic_par_file, new_dynamic_par_file, sizeof current_dynamic_par_file);
    return current_dynamic_par_file;
}

char *kivd_get_current_dynamic_parfile_name() noexcept
{
    return current_dynamic_par_file;
}
