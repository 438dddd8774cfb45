/* The commands of virtual SANs. */
#include <stdio.h>
#include <string.h>

#include "vsan_module.h"

#define NAME_CHARACTERS "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_."

static int exists(int32_t number)
{
    const struct vsan_record *record = store_vsan(number);
    return record != NULL && record->exists;
}

static int is_allowed(const struct pinfo *info, int32_t number)
{
    return kiv_is_vsan_allowed(&info->vsan_mask, (uint32_t)number);
}

/* -- Creating and removing: one, a range, or several -- */

/* The ranges of the command's argument, whichever of the three types it has. Returns their number,
 * 0 after a message where it has none of them. */
static int32_t ranges_of(const struct pinfo *info, kiv_int_range *one, const kiv_int_range **ranges)
{
    const int32_t place = info->submode_context;
    const uint32_t type = place < info->parameter_count ? info->args[place]->type : TYPE_NONE;
    *ranges = one;
    if (type == TYPE_VSAN_MULTI_RANGE) {
        const kiv_int_multi_range *several = command_argument(info, 0, type);
        *ranges = several->ranges;
        return several->count;
    }
    if (type == TYPE_VSAN_RANGE) {
        *one = *(const kiv_int_range *)command_argument(info, 0, type);
        return 1;
    }
    const int32_t *number = command_argument(info, 0, TYPE_VSAN);
    if (number == NULL)
        return 0;
    one->low = one->high = *number;
    return 1;
}

/* Interfaces of a virtual SAN that goes move to VSAN_DEFAULT, which is a change of that one. */
static int check_move(const struct pinfo *info, const kiv_int_range *range)
{
    if (is_allowed(info, VSAN_DEFAULT))
        return 0;
    for (int32_t number = range->low; number <= range->high; ++number) {
        if (exists(number) && fc_count_in(number) > 0)
            return refuse("You may not move the interfaces of virtual SAN %d to virtual SAN %d.",
                          number, VSAN_DEFAULT);
    }
    return 0;
}

static int check(const struct pinfo *info, const kiv_int_range *range)
{
    if (range->low < 1 || range->high > VSAN_LAST || range->low > range->high)
        return refuse("Virtual SANs have numbers from 1 to %d.", VSAN_LAST);
    if (!kiv_is_vsan_range_allowed(&info->vsan_mask, range))
        return refuse("You may not act on all virtual SANs from %d to %d.", range->low,
                      range->high);
    if (info->no_flag && range->low <= VSAN_DEFAULT)
        return refuse("Virtual SAN %d is always there.", VSAN_DEFAULT);
    return info->no_flag ? check_move(info, range) : 0;
}

static int create(int32_t number)
{
    const struct vsan_record created = {.exists = 1};
    return exists(number) ? 0 : store_vsan_change(number, &created);
}

/* Its interfaces go first, so that none is ever in a virtual SAN that is not there. */
static int destroy(int32_t number)
{
    const struct vsan_record none = {0};
    if (!exists(number))
        return 0;
    return fc_move_from(number) == 0 ? store_vsan_change(number, &none) : -1;
}

int vsan(struct pinfo *info)
{
    kiv_int_range one;
    const kiv_int_range *ranges = NULL;
    const int32_t count = ranges_of(info, &one, &ranges);
    if (count == 0)
        return -1;
    for (int32_t i = 0; i < count; ++i) {
        if (check(info, &ranges[i]) != 0)
            return -1;
    }
    if (info->no_flag && count == 1 && ranges->low == ranges->high && !exists(ranges->low))
        return refuse("There is no virtual SAN %d.", ranges->low);
    for (int32_t i = 0; i < count; ++i) {
        for (int32_t number = ranges[i].low; number <= ranges[i].high; ++number) {
            if ((info->no_flag ? destroy(number) : create(number)) != 0)
                return -1;
        }
    }
    return 0;
}

/* -- Settings -- */

/* The virtual SAN of the mode, if the user may change it; 0, after a message, if not. */
static int32_t vsan_of_mode(const struct pinfo *info)
{
    const int32_t *number = mode_argument(info, TYPE_VSAN);
    if (number == NULL)
        return 0;
    if (exists(*number) && is_allowed(info, *number))
        return *number;
    refuse(exists(*number) ? "You may not act on virtual SAN %d." : "There is no virtual SAN %d.",
           *number);
    return 0;
}

int vsan_name(struct pinfo *info)
{
    const int32_t number = vsan_of_mode(info);
    const char *name = info->no_flag ? "" : command_argument(info, 0, TYPE_STRING);
    if (number == 0 || name == NULL)
        return -1;
    struct vsan_record changed = *store_vsan(number);
    if (strlen(name) >= sizeof changed.name || name[strspn(name, NAME_CHARACTERS)] != '\0')
        return refuse("A name has up to 32 letters, digits, -, _ and .");
    memset(changed.name, 0, sizeof changed.name);
    robust_strncpy(changed.name, name, sizeof changed.name);
    return store_vsan_change(number, &changed);
}

int vsan_suspend(struct pinfo *info)
{
    const int32_t number = vsan_of_mode(info);
    if (number == 0)
        return -1;
    struct vsan_record changed = *store_vsan(number);
    changed.suspended = !info->no_flag;
    return store_vsan_change(number, &changed);
}

int vsan_domain_controller(struct pinfo *info)
{
    static const uint8_t none[4] = {0};
    const int32_t number = vsan_of_mode(info);
    const void *address = info->no_flag ? none : command_argument(info, 0, TYPE_FC_ID);
    if (number == 0 || address == NULL)
        return -1;
    struct vsan_record changed = *store_vsan(number);
    memcpy(changed.domain_controller, address, sizeof changed.domain_controller);
    return store_vsan_change(number, &changed);
}

/* -- What there is -- */

/* "0x" and six digits, the empty text for none. */
static const char *controller_text(const struct vsan_record *record)
{
    static char text[16];
    const uint8_t *bytes = record->domain_controller;
    snprintf(text, sizeof text, "0x%02x%02x%02x", bytes[1], bytes[2], bytes[3]);
    return strcmp(text, "0x000000") == 0 ? "" : text;
}

static void show(int32_t number)
{
    const struct vsan_record *record = store_vsan(number);
    kiv_buf_printf("%-5d %-10s %-11u %-18s %s\n", number,
                   record->suspended ? "suspended" : "active", fc_count_in(number),
                   controller_text(record), record->name);
}

int show_vsan(struct pinfo *info)
{
    kiv_int_range shown = {1, VSAN_LAST};
    if (info->parameter_count > info->submode_context) {
        const int32_t *number = command_argument(info, 0, TYPE_VSAN);
        if (number == NULL)
            return -1;
        if (!exists(*number) || !is_allowed(info, *number))
            return refuse("There is no virtual SAN %d that you may see.", *number);
        shown.low = shown.high = *number;
    }
    kiv_buf_printf("%-5s %-10s %-11s %-18s %s\n", "Vsan", "State", "Interfaces",
                   "Domain controller", "Name");
    for (int32_t number = shown.low; number <= shown.high; ++number) {
        if (exists(number) && is_allowed(info, number))
            show(number);
    }
    return 0;
}

static void print_setting(const char *words, const char *value)
{
    if (*value != '\0')
        kiv_buf_printf("  %s %s\n", words, value);
}

/* Whether it has a place in the running configuration. */
static int is_configured(int32_t number)
{
    const struct vsan_record *record = store_vsan(number);
    const int has_settings =
        *record->name != '\0' || *controller_text(record) != '\0' || record->suspended;
    return record->exists && (number != VSAN_DEFAULT || has_settings);
}

void print_left_out(void)
{
    kiv_buf_printf("! Left out: virtual SANs that no role of yours permits.\n");
}

int is_vsan_left_out(const struct pinfo *info)
{
    for (int32_t number = 1; number <= VSAN_LAST; ++number) {
        if (is_configured(number) && !is_allowed(info, number))
            return 1;
    }
    return 0;
}

int vsan_running_config(struct pinfo *info)
{
    if (is_vsan_left_out(info))
        print_left_out();
    for (int32_t number = 1; number <= VSAN_LAST; ++number) {
        const struct vsan_record *record = store_vsan(number);
        if (!is_configured(number) || !is_allowed(info, number))
            continue;
        kiv_buf_printf("vsan %d\n", number);
        print_setting("name", record->name);
        print_setting("domain-controller", controller_text(record));
        if (record->suspended)
            kiv_buf_printf("  suspend\n");
    }
    return 0;
}
