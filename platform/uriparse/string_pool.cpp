#include "string_pool.h"

#include <cstring>

#include <kiv/platform/uriparse.h>

namespace kiv_platform {

namespace {

string_pool_head head_of(const void *block)
{
    string_pool_head head;
    std::memcpy(&head, block, sizeof head);
    return head;
}

size_t offset_of_place(uint32_t index)
{
    return sizeof(string_pool_head) + size_t{index} * sizeof(uint32_t);
}

uint32_t room_for_text(const string_pool_head &head)
{
    return head.size - static_cast<uint32_t>(offset_of_place(head.limit));
}

bool is_sound_head(const string_pool_head &head, size_t block_size)
{
    return head.size <= block_size && is_string_pool_size(head.limit, head.size) &&
           head.count <= head.limit && head.used <= room_for_text(head);
}

} // namespace

string_pool::string_pool(void *block, size_t size)
    : block_(static_cast<char *>(block)), head_(head_of(block)), sound_(is_sound_head(head_, size))
{
}

void string_pool::clear()
{
    head_.count = 0;
    head_.used = 0;
    store_head();
}

bool string_pool::append(std::string_view text)
{
    if (head_.count == head_.limit || text.size() >= room_for_text(head_) - head_.used)
        return false;
    std::memcpy(block_ + offset_of_place(head_.count), &head_.used, sizeof head_.used);
    char *place = block_ + offset_of_place(head_.limit) + head_.used;
    text.copy(place, text.size());
    place[text.size()] = '\0';
    head_.used += static_cast<uint32_t>(text.size()) + 1;
    ++head_.count;
    store_head();
    return true;
}

void string_pool::store_head()
{
    std::memcpy(block_, &head_, sizeof head_);
}

const char *string_of_pool(const void *block, size_t size, uint32_t index)
{
    const string_pool_head head = head_of(block);
    if (!is_sound_head(head, size) || index >= head.count)
        return "";
    const char *bytes = static_cast<const char *>(block);
    uint32_t offset;
    std::memcpy(&offset, bytes + offset_of_place(index), sizeof offset);
    const char *text = bytes + offset_of_place(head.limit);
    // Every string lies before this NUL, so none is read past it.
    return offset < head.used && text[head.used - 1] == '\0' ? text + offset : "";
}

} // namespace kiv_platform

int sysmgr_strings_init(void *pool, uint32_t limit, uint32_t size) noexcept
{
    if (!kiv_platform::is_string_pool_size(limit, size))
        return -1;
    const kiv_platform::string_pool_head empty{size, limit, 0, 0};
    std::memcpy(pool, &empty, sizeof empty);
    return 0;
}
