// Conversion of array trees between network and host byte order. The records are big-endian in
// both, so a conversion stores the bytes that are there; the walks keep their order, checks and
// limits.

#include <cstdio>
#include <cstdlib>

#include <kiv/common.h>

namespace {

template <typename BigEndian>
void convert(BigEndian &field)
{
    field = BigEndian{field};
}

// Nothing in a parameter changes between the orders.
void convert_parameter(kiv_parameter &) {}

void convert_parameters(kiv_array_tree_node &node)
{
    const uint16_t count = node.parameter_count;
    for (uint16_t i = 0; i < count; ++i)
        convert_parameter(node.parameters[i]);
}

void exit_if_too_deep(int32_t depth)
{
    if (depth < KIV_TREE_MAX_DEPTH)
        return;
    std::fputs("Fatal error: Tree exceeded maximum depth \n", stderr);
    std::exit(-1);
}

// A node without children has no links either, so its mask is not looked at.
template <typename Walk>
void walk_owned_children(const kiv_array_tree_node &node, Walk walk)
{
    const uint16_t count = node.child_count;
    if (count == 0)
        return;
    bmask256 links = KIV_BMP_INIT(KIV_CHILDLIST_BITS);
    bmask256_from_bitarray(&links, node.childlist_mask);
    for (uint32_t i = 0; i < count; ++i) {
        if (!bmask256_is_bit_set(&links, i))
            walk(node.children[i]);
    }
}

void to_host_order(kiv_array_tree_node *tree, int32_t index, int32_t depth)
{
    exit_if_too_deep(depth);
    kiv_array_tree_node &node = tree[index];
    convert(node.parameter_count);
    convert_parameters(node);
    walk_owned_children(node, [=](int32_t child) { to_host_order(tree, child, depth + 1); });
}

// A node's counts go into network order last, once nothing reads them any more.
void to_network_order(kiv_array_tree_node *tree, int32_t index, int32_t depth)
{
    exit_if_too_deep(depth);
    kiv_array_tree_node &node = tree[index];
    convert_parameters(node);
    convert(node.parameter_count);
    walk_owned_children(node, [=](int32_t child) { to_network_order(tree, child, depth + 1); });
    convert(node.child_count);
}

} // namespace

uint64_t kiv_get_param_type_from_mask(uint64_t lo, uint64_t hi) noexcept
{
    return hi << 32 | (lo & 0xFFFFFFFFU);
}

void ntoh_subtree_header(kiv_subtree_header *) noexcept {}
void hton_subtree_header(kiv_subtree_header *) noexcept {}
void ntoh_parameter(kiv_parameter *param) noexcept
{
    convert_parameter(*param);
}

void hton_parameter(kiv_parameter *param) noexcept
{
    convert_parameter(*param);
}

void ntoh_array_tree(kiv_array_tree_node *tree, int32_t index, int32_t depth) noexcept
{
    if (tree != nullptr)
        to_host_order(tree, index, depth);
}

void hton_array_tree(kiv_array_tree_node *tree, int32_t index, int32_t depth) noexcept
{
    if (tree != nullptr)
        to_network_order(tree, index, depth);
}

int cycle_check(const kiv_array_tree_node *tree, int32_t index, int32_t depth) noexcept
{
    if (tree == nullptr)
        return 0;
    if (depth >= KIV_TREE_MAX_DEPTH)
        return 1;
    const kiv_array_tree_node &node = tree[index];
    const uint16_t count = node.child_count;
    for (uint16_t i = 0; i < count; ++i) {
        if (cycle_check(tree, node.children[i], depth + 1) > 0)
            return 1;
    }
    return 0;
}

int bmask128_uint64_copy(bmask128 *mask, uint64_t value) noexcept
{
    for (uint32_t bit = 0; bit < 64; ++bit) {
        if ((value >> bit & 1) != 0)
            bmask128_set_bit(mask, bit);
    }
    return 0;
}

int bmask128_uint32_copy(bmask128 *mask, uint32_t value) noexcept
{
    return bmask128_uint64_copy(mask, value);
}
