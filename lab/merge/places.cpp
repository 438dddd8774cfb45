#include "places.h"

#include "shared_node.h"

namespace kiv::merge {

namespace {

uint32_t child_hash(uint32_t owner, uint32_t key)
{
    constexpr uint64_t odd_factor = 0xD6E8FEB86659FD93;
    return static_cast<uint32_t>((uint64_t{owner} << 32 | key) * odd_factor >> 32);
}

} // namespace

places::places(size_t expected) : children_(expected)
{
    places_.reserve(expected);
    references_.reserve(expected);
}

const reference *places::find(uint32_t owner, uint32_t key) const
{
    const uint32_t found = children_.find(child_hash(owner, key), [&](uint32_t number) {
        return references_[number].owner == owner && references_[number].key == key;
    });
    return found == nowhere ? nullptr : &references_[found];
}

void places::add(const kiv_array_tree_node &record, uint32_t owner, uint32_t tree)
{
    places_.push_back({.record = &record,
                       .owner = owner,
                       .handler_tree = tree,
                       .generator_tree = tree,
                       .argument_tree = tree});
}

void places::join(uint32_t id, const kiv_array_tree_node &record, uint32_t tree)
{
    place &shared = places_[id];
    if (!has_handler(*shared.record))
        shared.handler_tree = tree;
    if (!has_generator(*shared.record))
        shared.generator_tree = tree;
    if (shared.joined == nullptr)
        shared.record = shared.joined = &joined_.emplace_back(*shared.record);
    merge::join(*shared.joined, record);
}

void places::add_child(reference added)
{
    const auto number = static_cast<uint32_t>(references_.size());
    place &owner = places_[added.owner];
    if (added.argument && owner.argument_count++ == 0)
        owner.argument_tree = added.tree;
    ++owner.child_count;
    added.next = owner.first_child;
    owner.first_child = number;
    references_.push_back(added);
    children_.add(child_hash(added.owner, added.key), number);
}

} // namespace kiv::merge
