#include "state_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/files.h"
#include "support/unique_fd.h"

namespace kivd {

namespace {

struct header {
    char magic[8];
    uint32_t version;
    uint32_t size; // of the tables
    uint64_t checksum;
};

constexpr char state_magic[8] = {'k', 'i', 'v', 'd', 's', 't', 'a', '\n'};
constexpr uint32_t state_version = 2;
constexpr mode_t directory_mode = 0755;
constexpr size_t file_size = sizeof(header) + sizeof(tables);

// FNV-1a, of 64 bits.
uint64_t checksum(std::string_view bytes)
{
    uint64_t sum = 0xCBF29CE484222325U;
    for (const char byte : bytes)
        sum = (sum ^ static_cast<uint8_t>(byte)) * 0x100000001B3U;
    return sum;
}

std::string encode(const tables &all)
{
    const std::string_view body(reinterpret_cast<const char *>(&all), sizeof all);
    header head{{}, state_version, sizeof all, checksum(body)};
    std::memcpy(head.magic, state_magic, sizeof head.magic);
    std::string bytes(reinterpret_cast<const char *>(&head), sizeof head);
    return bytes.append(body);
}

// What is wrong with the bytes; empty where they are tables, which are stored.
std::string decode(std::string_view bytes, tables &all)
{
    header head;
    if (bytes.size() < sizeof head)
        return "is cut off";
    std::memcpy(&head, bytes.data(), sizeof head);
    if (std::memcmp(head.magic, state_magic, sizeof head.magic) != 0)
        return "is no state of this daemon";
    if (head.version != state_version || head.size != sizeof all)
        return "has another version";
    bytes.remove_prefix(sizeof head);
    if (bytes.size() != sizeof all)
        return "is cut off";
    if (checksum(bytes) != head.checksum)
        return "has a wrong checksum";
    tables loaded;
    std::memcpy(&loaded, bytes.data(), sizeof loaded);
    if (!are_sound(loaded))
        return "holds counts that cannot be";
    all = loaded;
    return {};
}

std::string because(int error)
{
    return std::string(": ") + std::strerror(error);
}

int make_directory(const std::string &path)
{
    return mkdir(path.c_str(), directory_mode) == 0 || errno == EEXIST ? 0 : errno;
}

} // namespace

state_file::state_file(std::string directory)
    : current_(directory + "/state"), previous_(directory + "/state.previous"),
      directory_(std::move(directory))
{
}

state_file::outcome state_file::read(const std::string &name, tables &all,
                                     std::vector<std::string> &remarks) const
{
    const kiv::support::unique_fd file(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file && errno == ENOENT)
        return outcome::missing;
    std::string bytes;
    const int error = file ? kiv::support::read_all(file.get(), file_size, bytes) : errno;
    const std::string fault =
        error == EFBIG ? "is too long"
                       : (error != 0 ? "cannot be read" + because(error) : decode(bytes, all));
    if (fault.empty())
        return outcome::loaded;
    const std::string aside = name + ".damaged";
    const bool moved = rename(name.c_str(), aside.c_str()) == 0;
    remarks.push_back(name + " " + fault + (moved ? "; set aside as " + aside : ""));
    return outcome::unusable;
}

int state_file::load(tables &all, std::vector<std::string> &remarks)
{
    reset(all);
    if (const int error = make_directory(directory_); error != 0) {
        remarks.push_back(directory_ + because(error));
        return error;
    }
    const outcome newest = read(current_, all, remarks);
    if (newest == outcome::loaded)
        return 0;
    const outcome before = read(previous_, all, remarks);
    if (before == outcome::loaded)
        remarks.push_back("using " + previous_);
    else if (newest == outcome::unusable || before == outcome::unusable)
        remarks.push_back("no usable state: starting with the settings of a new switch");
    return 0;
}

// A second name for the file that is about to be replaced.
int state_file::keep_previous() const
{
    const std::string linked = previous_ + ".new";
    if (unlink(linked.c_str()) != 0 && errno != ENOENT)
        return errno;
    if (link(current_.c_str(), linked.c_str()) != 0)
        return errno == ENOENT ? 0 : errno;
    return rename(linked.c_str(), previous_.c_str()) == 0 ? 0 : errno;
}

int state_file::store(const tables &all)
{
    if (const int error = keep_previous(); error != 0)
        return error;
    return kiv::support::replace_file(current_, encode(all), "state.new");
}

} // namespace kivd
