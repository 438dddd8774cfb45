// The table of interface types, and how it comes from the daemon.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include <kiv/common.h>
#include <kiv/kiv_process_api.h>
#include <kiv/platform/syserr.h>

#include "common/standard_output.h"
#include "common/text.h"
#include "process_api/kivd_address.h"

static_assert(sizeof(kiv_interface_table_entry) == 608);
static_assert(offsetof(kiv_interface_table_entry, name) == 8);
static_assert(offsetof(kiv_interface_table_entry, min_match_len) == 44);
static_assert(offsetof(kiv_interface_table_entry, format) == 48);
static_assert(offsetof(kiv_interface_table_entry, verify_func) == 52);
static_assert(offsetof(kiv_interface_table_entry, listing_func) == 100);
static_assert(offsetof(kiv_interface_table_entry, library_name) == 148);
static_assert(offsetof(kiv_interface_table_entry, help_info) == 172);
static_assert(offsetof(kiv_interface_table_entry, ascii_gen_priority) == 600);
static_assert(offsetof(kiv_interface_table, last_index) == 14592);

namespace {

constexpr uint32_t table_question = 905;
constexpr uint32_t table_size = offsetof(kiv_interface_table, last_index) + sizeof(int32_t);
constexpr int32_t last_slot = KIV_INTERFACE_TABLE_CAPACITY - 1;

// Among the entries 0 to `last_index` that there is memory for.
int32_t find_mask(const kiv_interface_table &table, int32_t last_index, uint64_t intf_mask)
{
    const int32_t last = std::min(last_index, last_slot);
    for (int32_t i = 0; i <= last; ++i) {
        if (table.entries[i].intf_mask == intf_mask)
            return i;
    }
    return -1;
}

void append_label(kiv::standard_output &out, std::string_view label)
{
    out.append(label);
    out.append(':');
}

void append_text(kiv::standard_output &out, std::string_view label, std::string_view text)
{
    if (text.empty())
        return;
    append_label(out, label);
    out.append(text);
    out.append(' ');
}

void append_number(kiv::standard_output &out, std::string_view label, int32_t number)
{
    if (number == 0)
        return;
    append_label(out, label);
    out.append_number(number);
    out.append(' ');
}

void append_fields(kiv::standard_output &out, const kiv_interface_table_entry &entry)
{
    append_label(out, "\n Interface Mask");
    out.append_number(static_cast<int64_t>(entry.intf_mask));
    append_text(out, " Interface Name", kiv::field_text(entry.name));
    append_number(out, " Minimum match length", entry.min_match_len);
    append_number(out, " Interface format", entry.format);
    append_text(out, " Ifindex Verification func", kiv::field_text(entry.verify_func));
    append_text(out, " Ifindex Listing func", kiv::field_text(entry.listing_func));
    append_text(out, " Library name", kiv::field_text(entry.library_name));
    append_number(out, " Ascii gen priority", entry.ascii_gen_priority);
}

struct freed {
    void operator()(void *block) const { std::free(block); }
};

using entry_array = std::unique_ptr<kiv_interface_table_entry, freed>;

// Also an array without entries is a block of its own.
entry_array allocate_entries(int32_t count)
{
    const size_t places = static_cast<size_t>(std::max(count, 1));
    return entry_array(static_cast<kiv_interface_table_entry *>(
        std::calloc(places, sizeof(kiv_interface_table_entry))));
}

bool has_sound_counts(const kiv_interface_table &table)
{
    if (table.last_index < -1 || table.last_index > last_slot)
        return false;
    const int32_t count = table.last_index + 1;
    return std::ranges::all_of(std::span(table.entries).first(static_cast<size_t>(count)),
                               [](const kiv_interface_table_entry &entry) {
                                   const int32_t fields = entry.help_info.field_count;
                                   return fields >= 0 && fields <= KIV_INTF_HELP_FIELDS;
                               });
}

bool fetch_table(int queue, kiv_interface_table &table)
{
    kiv::owned_message answer;
    const kiv::question outcome = kiv::ask_daemon(queue, table_question, answer);
    if (outcome == kiv::question::not_answered)
        std::puts("Could not communicate with kivd");
    if (outcome != kiv::question::answered || !kiv::copy_payload(answer, &table, table_size))
        return false;
    if (has_sound_counts(table))
        return true;
    errno = EPROTO;
    return false;
}

} // namespace

void set_interface_table_entry(kiv_interface_table_entry *entry, uint64_t intf_mask,
                               const char *name, int32_t min_match_len, int32_t format,
                               const char *verify_func, const char *listing_func,
                               const char *library_name, const kiv_intf_help_info *help_info,
                               uint16_t ascii_gen_priority) noexcept
{
    KIV_ASSERT("kiv_process_api", entry);
    // Apart from the record, since the strings may be its own.
    kiv_interface_table_entry filled{};
    filled.intf_mask = intf_mask;
    robust_strncpy(filled.name, name, sizeof filled.name);
    filled.min_match_len = min_match_len;
    filled.format = format;
    robust_strncpy(filled.verify_func, verify_func, sizeof filled.verify_func);
    robust_strncpy(filled.listing_func, listing_func, sizeof filled.listing_func);
    robust_strncpy(filled.library_name, library_name, sizeof filled.library_name);
    kiv_intf_help_info_copy(help_info, &filled.help_info);
    filled.ascii_gen_priority = ascii_gen_priority;
    *entry = filled;
}

void copy_interface_table_entry(const kiv_interface_table_entry *src,
                                kiv_interface_table_entry *dst) noexcept
{
    KIV_ASSERT("kiv_process_api", src);
    set_interface_table_entry(dst, src->intf_mask, src->name, src->min_match_len, src->format,
                              src->verify_func, src->listing_func, src->library_name,
                              &src->help_info, src->ascii_gen_priority);
}

void show_interface_table_entry(const kiv_interface_table_entry *entry) noexcept
{
    if (entry == nullptr)
        return;
    {
        kiv::small_output out;
        append_fields(out, *entry);
    }
    kiv_intf_help_info_show(&entry->help_info);
}

void show_interface_table(const kiv_interface_table_entry *entries, int32_t count) noexcept
{
    KIV_ASSERT("kiv_process_api", entries != nullptr || count <= 0);
    constexpr const char *frame = "=======================================";
    std::puts(frame);
    std::puts("Displaying Interface Table");
    std::puts(frame);
    for (int32_t i = 0; i < count; ++i) {
        std::puts("---------------------------------------");
        show_interface_table_entry(&entries[i]);
        std::putchar('\n');
    }
    std::puts(frame);
}

int32_t search_entry_in_interface_table(const kiv_interface_table *table,
                                        uint64_t intf_mask) noexcept
{
    KIV_ASSERT("kiv_process_api", table);
    return find_mask(*table, table->last_index, intf_mask);
}

int insert_entry_in_interface_table(kiv_interface_table *table,
                                    const kiv_interface_table_entry *entry) noexcept
{
    KIV_ASSERT("kiv_process_api", table);
    KIV_ASSERT("kiv_process_api", entry);
    ++table->last_index;
    copy_interface_table_entry(entry, &table->entries[table->last_index]);
    return 0;
}

int delete_entry_from_interface_table(kiv_interface_table *table, int32_t position) noexcept
{
    KIV_ASSERT("kiv_process_api", table);
    if (position < 0 || table->last_index == INT32_MIN)
        return 0;
    const int32_t last = std::min(table->last_index, last_slot);
    for (int32_t i = position; i < last; ++i)
        copy_interface_table_entry(&table->entries[i + 1], &table->entries[i]);
    --table->last_index;
    return 0;
}

int kivd_interface_table_search(const kiv_interface_table *interface_table_p, int32_t last_index,
                                uint64_t intf_mask, int32_t *position_p) noexcept
{
    KIV_ASSERT("kiv_process_api", interface_table_p);
    KIV_ASSERT("kiv_process_api", position_p);
    const int32_t position = find_mask(*interface_table_p, last_index, intf_mask);
    if (position < 0)
        return KIV_ERROR_INTERFACE_UNKNOWN;
    *position_p = position;
    return 0;
}

int kivd_interface_table_get(int ovra_queue, kiv_interface_table_entry **table_out) noexcept
{
    KIV_ASSERT("kiv_process_api", table_out);
    kiv_interface_table table;
    if (!fetch_table(ovra_queue, table))
        return -1;
    const int32_t count = table.last_index + 1;
    entry_array entries = allocate_entries(count);
    if (entries == nullptr)
        return -1;
    for (int32_t i = 0; i < count; ++i)
        copy_interface_table_entry(&table.entries[i], &entries.get()[i]);
    *table_out = entries.release();
    return count;
}
