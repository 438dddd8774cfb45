#include "publication.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <kiv/extras.h>
#include <kiv/parfile.h>

#include "lab/merge/merge.h"
#include "support/files.h"
#include "support/tree_fault.h"
#include "support/unique_fd.h"

namespace kivd {

namespace {

constexpr const char *own_tree = "kiv.par";
constexpr const char *unfinished_file = "merging.par.new";
constexpr size_t longest_tree = size_t{KIV_TREE_MAX_NODES} * sizeof(kiv_array_tree_node);
// Of all contributed trees, most of which are shared nodes where they are more than one tree holds.
constexpr size_t most_nodes = 4 * size_t{KIV_TREE_MAX_NODES};
constexpr mode_t tree_mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// A contributed tree, read into memory of our own, so that nobody writes to it meanwhile.
struct loaded_tree {
    std::string name;
    std::string file;
    std::vector<kiv_array_tree_node> nodes;
};

int read_bytes(const std::string &path, std::string &bytes)
{
    // Neither a link nor a pipe: it would be something else than what was contributed, or wait.
    const kiv::support::unique_fd file(
        open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return EINVAL;
    return kiv::support::read_all(file.get(), longest_tree, bytes);
}

// Why the tree cannot be used; empty where it can.
std::string load(const std::string &path, loaded_tree &tree)
{
    std::string bytes;
    if (const int error = read_bytes(path, bytes); error != 0)
        return error == ELOOP || error == EINVAL ? "is no regular file" : std::strerror(error);
    kiv_tree_check_result found;
    if (kiv_tree_check(bytes.data(), bytes.size(), &found) != 0)
        return kiv::support::tree_fault(found);
    tree.nodes.resize(bytes.size() / sizeof(kiv_array_tree_node));
    std::memcpy(tree.nodes.data(), bytes.data(), bytes.size());
    return {};
}

// The shell's own tree and those of the table, but for the ones that are left out.
std::vector<loaded_tree> load_all(const std::string &directory, const kiv_tree_table &trees,
                                  std::vector<std::string> &left_out)
{
    std::vector<loaded_tree> loaded;
    loaded.reserve(static_cast<size_t>(trees.last_index) + 2);
    size_t room = most_nodes;
    const auto take = [&](const std::string &name, const std::string &file) {
        loaded_tree tree{name, file, {}};
        std::string fault = load(directory + "/" + file, tree);
        if (fault.empty() && tree.nodes.size() > room)
            fault = "the trees before it leave no room in memory";
        if (!fault.empty()) {
            left_out.push_back(name + ": " + file + ": " + fault);
            return;
        }
        room -= tree.nodes.size();
        loaded.push_back(std::move(tree));
    };
    take("the shell's own", own_tree);
    for (int32_t i = 0; i <= trees.last_index; ++i)
        take(trees.entries[i].module_id, trees.entries[i].par_file_name);
    return loaded;
}

} // namespace

bool is_published_name(std::string_view name)
{
    constexpr std::string_view stem = "main_tree";
    if (!name.starts_with(stem))
        return false;
    name.remove_prefix(stem.size());
    const size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    const std::string_view rest = name.substr(digits);
    return digits > 0 && (rest == ".par" || rest == ".par_done");
}

void publication::open()
{
    kivd_dynamic_parfile_init(directory_.c_str());
}

std::string publication::name() const
{
    return published_ ? kivd_get_current_dynamic_parfile_name() : std::string();
}

merge_report publication::publish(const kiv_tree_table &trees)
{
    merge_report report;
    const std::vector<loaded_tree> loaded = load_all(directory_, trees, report.left_out);
    std::vector<kiv::merge::contribution> contributions;
    contributions.reserve(loaded.size());
    for (const loaded_tree &tree : loaded)
        contributions.push_back({tree.name, tree.nodes});
    const kiv::merge::result merged = kiv::merge::merge(contributions);

    std::set<size_t> contradicting;
    for (const kiv::merge::conflict &found : merged.conflicts) {
        report.left_out.push_back(loaded[found.tree].name + ": node " + std::to_string(found.node) +
                                  ": " + found.text);
        contradicting.insert(found.tree);
    }
    report.trees = loaded.size() - contradicting.size();
    for (size_t i = 0; i < loaded.size(); ++i) {
        if (!contradicting.contains(i))
            report.files.push_back(loaded[i].file);
    }
    report.nodes = merged.nodes.size();
    report.error = write({reinterpret_cast<const char *>(merged.nodes.data()),
                          merged.nodes.size() * sizeof(kiv_array_tree_node)});
    return report;
}

int publication::write(const std::string &bytes)
{
    kiv_tree_check_result found;
    if (kiv_tree_check(bytes.data(), bytes.size(), &found) != 0)
        return EPROTO;
    const std::string file = kivd_get_new_dynamic_parfile_name();
    const std::string path = directory_ + "/" + file;
    // A link that somebody has put there would be followed.
    remove_file(file);
    if (const int error = kiv::support::replace_file(path, bytes, unfinished_file); error != 0)
        return error;
    if (chmod(path.c_str(), tree_mode) != 0 || file_ha_commit(file.c_str()) != 0) {
        const int error = errno;
        remove_file(file);
        return error;
    }
    remove_file(before_);
    before_ = name();
    kivd_update_current_dynamic_parfile_name();
    if (!published_)
        remove_leftovers();
    published_ = true;
    return 0;
}

// What daemons before this one have published; nobody is sent there any more.
void publication::remove_leftovers() const
{
    const std::string current = kivd_get_current_dynamic_parfile_name();
    std::error_code error;
    const std::filesystem::directory_iterator end;
    for (std::filesystem::directory_iterator each(directory_, error); !error && each != end;
         each.increment(error)) {
        const std::string file = each->path().filename();
        if (is_published_name(file) && !file.starts_with(current))
            unlink(each->path().c_str());
    }
}

void publication::remove_file(const std::string &name) const
{
    if (name.empty())
        return;
    for (const char *suffix : {"_done", ""})
        unlink((directory_ + "/" + name + suffix).c_str());
}

} // namespace kivd
