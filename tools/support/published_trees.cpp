#include "support/published_trees.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

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
constexpr const char *lock_file = "merged.par.lock";

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

std::string marker_of(const char *name)
{
    return path_of(name) + "_done";
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
        if (unlink(marker_of(newest).c_str()) != 0 && errno != ENOENT)
            return errno;
    }
    return EIO;
}

// Publishers take turns; nobody else can open the file and keep them waiting.
int lock(const unique_fd &folder, unique_fd &locked)
{
    locked = unique_fd(openat(folder.get(), lock_file, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                              S_IRUSR | S_IWUSR));
    if (!locked)
        return errno;
    while (flock(locked.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

// Whatever the publisher's umask is.
bool open_to_all(const std::string &path)
{
    return chmod(path.c_str(), S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) == 0;
}

} // namespace

int publish_tree(const std::string &directory, std::string_view tree, std::string &name)
{
    if (!select_ring(directory))
        return ENAMETOOLONG;
    const unique_fd folder(open(ring_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        return errno;
    unique_fd locked;
    if (const int error = lock(folder, locked); error != 0)
        return error;
    const char *chosen = make_writable(next_index());
    if (const int error = replace_file(path_of(chosen), tree, unfinished_file); error != 0)
        return error;
    if (!open_to_all(path_of(chosen)) || file_ha_commit(chosen) != 0 ||
        !open_to_all(marker_of(chosen)))
        return errno;
    if (const int error = send_readers_to(chosen); error != 0)
        return error;
    if (fsync(folder.get()) != 0)
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
