// Vectors that may become large and are read here and there: large ones are in large pages, where
// the system has them, so that neither the first touch nor the search for an address takes long.
#ifndef KIV_EXEC_DIFF_MEMORY_H
#define KIV_EXEC_DIFF_MEMORY_H

#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

#include <sys/mman.h>

namespace kiv::diff {

template <typename Value>
struct large_page_allocator {
    using value_type = Value;

    large_page_allocator() = default;
    template <typename Other>
    large_page_allocator(const large_page_allocator<Other> &) // NOLINT: as allocators convert
    {
    }

    Value *allocate(size_t count)
    {
        if (count > std::numeric_limits<ptrdiff_t>::max() / sizeof(Value))
            throw std::bad_alloc();
        const size_t size = count * sizeof(Value);
        void *block = size < page ? std::malloc(size) : allocate_pages((size + page - 1) / page);
        if (block == nullptr)
            throw std::bad_alloc();
        return static_cast<Value *>(block);
    }

    void deallocate(Value *block, size_t) { std::free(block); }

    bool operator==(const large_page_allocator &) const { return true; }

private:
    static constexpr size_t page = size_t{2} << 20;

    static void *allocate_pages(size_t count)
    {
        void *block = std::aligned_alloc(page, count * page);
        if (block != nullptr)
            madvise(block, count * page, MADV_HUGEPAGE); // without them it works as well
        return block;
    }
};

template <typename Value>
using large_vector = std::vector<Value, large_page_allocator<Value>>;

} // namespace kiv::diff

#endif
