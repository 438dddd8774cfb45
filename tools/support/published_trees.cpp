#include "support/published_trees.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>

#include <kiv/parfile.h>

#include "support/files.h"
#include "support/unique_fd.h"

namespace kiv::support {

namespace {

constexpr int32_t ring_size = 3;

// The library keeps pointers to both.
char ring[ring_size][KIV_PAR_FILE_NAME_SIZE] = {"merged0.par", "merged1.par", "merged2.par"};
char ring_directory[KIV_PAR_FILE_PATH_SIZE];

// One name for all publishers, who hold a lock: what a killed one leaves behind does not pile up.
constexpr const char *unfinished_file = "merged.par.new";

constexpr size_t longest_directory = KIV_PAR_FILE_PATH_SIZE - sizeof "/merged0.par_done";

bool select_ring(const std::string &directory)
{
    if (directory.size() > longest_directory)
        return false;
    ring_directory[directory.copy(ring_directory, longest_directory)] = '\0';
    file_ha_init(ring_directory, ring, ring_size);
    return true;
}

// A ring of one name hands out that name, whatever the process has written before.
char *make_writable(int32_t index)
{
    file_ha_init(ring_directory, &ring[index], 1);
    char *name = file_ha_current_writable_filename();
    file_ha_init(ring_directory, ring, ring_size);
    return name;
}

// The place behind the file that readers are sent to, so that they always have one.
int32_t next_index()
{
    const char *newest = file_ha_current_readable_filename();
    for (int32_t i = 0; newest != nullptr && i < ring_size; ++i) {
        if (newest == ring[i])
            return (i + 1) % ring_size;
    }
    return 0;
}

std::string path_of(const char *name)
{
    return std::string(ring_directory) + "/" + name;
}

// The marker of another process, of this second or of a time to come, may still win.
int send_readers_to(const char *name)
{
    for (int32_t i = 0; i < ring_size; ++i) {
        const char *newest = file_ha_current_readable_filename();
        if (newest == name)
            return 0;
        if (newest == nullptr)
            break;
        if (unlink((path_of(newest) + "_done").c_str()) != 0 && errno != ENOENT)
            return errno;
    }
    return EIO;
}

int lock(const unique_fd &directory)
{
    while (flock(directory.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

} // namespace

int publish_tree(const std::string &directory, std::string_view tree, std::string &name)
{
    if (!select_ring(directory))
        return ENAMETOOLONG;
    const unique_fd locked(open(ring_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!locked)
        return errno;
    if (const int error = lock(locked); error != 0)
        return error;
    const char *chosen = make_writable(next_index());
    if (const int error = replace_file(path_of(chosen), tree, unfinished_file); error != 0)
        return error;
    if (file_ha_commit(chosen) != 0)
        return errno;
    if (const int error = send_readers_to(chosen); error != 0)
        return error;
    if (fsync(locked.get()) != 0)
        return errno;
    name = chosen;
    return 0;
}

std::string published_tree(const std::string &directory)
{
    if (!select_ring(directory))
        return {};
    // A publisher may have gone on from one marker to another between two looks.
    const char *newest = nullptr;
    for (int32_t i = 0; newest == nullptr && i < ring_size; ++i)
        newest = file_ha_current_readable_filename();
    return newest == nullptr ? std::string() : path_of(newest);
}

} // namespace kiv::support
