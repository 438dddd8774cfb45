/* The commands of Fibre Channel interfaces. */
#include <stdio.h>
#include <string.h>

#include "vsan_module.h"

static const uint8_t no_wwn[8] = {0};

static int32_t vsan_of(const struct fc_record *record)
{
    return record->vsan == 0 ? VSAN_DEFAULT : record->vsan;
}

/* Of an interface the user may see and change what belongs to a virtual SAN of the user's. */
static int is_allowed(const struct pinfo *info, int32_t vsan_number, int32_t operation)
{
    const fc_intf_perm_req question = {.user_vsan_mask = &info->vsan_mask,
                                       .vsan_id = (uint32_t)vsan_number,
                                       .operation = operation};
    return kiv_fc_intf_perm_check(&question);
}

/* The interface with this index, if there is one that the user may act on; null, after a message,
 * if not. */
static const struct fc_record *find(const struct pinfo *info, const kiv_interface *name,
                                    int32_t operation)
{
    const struct fc_record *record = name == NULL ? NULL : store_fc(name->ifindex);
    if (record != NULL && is_allowed(info, vsan_of(record), operation))
        return record;
    if (record != NULL)
        refuse("You may not act on virtual SAN %d of this interface.", vsan_of(record));
    else if (name != NULL)
        refuse("There is no interface fc%u/%u.", KIV_IFINDEX_FIRST(name->ifindex),
               KIV_IFINDEX_SECOND(name->ifindex));
    return NULL;
}

int fc(struct pinfo *info)
{
    return find(info, command_argument(info, 0, TYPE_INTERFACE), 0) == NULL ? -1 : 0;
}

int fc_default(struct pinfo *info)
{
    static const struct fc_record as_at_first = {0};
    const kiv_interface *name = command_argument(info, 0, TYPE_INTERFACE);
    if (find(info, name, 0) == NULL)
        return -1;
    if (!is_allowed(info, VSAN_DEFAULT, 0))
        return refuse("You may not put an interface into virtual SAN %d.", VSAN_DEFAULT);
    return store_fc_change(name->ifindex, &as_at_first);
}

/* -- Settings -- */

/* A change of the interface of the mode: its index, and the record to be changed. */
struct change {
    uint32_t ifindex;
    struct fc_record record;
};

static int begin(const struct pinfo *info, struct change *change)
{
    const kiv_interface *name = mode_argument(info, TYPE_INTERFACE);
    const struct fc_record *record = find(info, name, 0);
    if (record == NULL)
        return -1;
    change->ifindex = name->ifindex;
    change->record = *record;
    return 0;
}

static int finish(const struct change *change)
{
    return store_fc_change(change->ifindex, &change->record);
}

int fc_shutdown(struct pinfo *info)
{
    struct change change;
    if (begin(info, &change) != 0)
        return -1;
    change.record.is_shut = !info->no_flag;
    return finish(&change);
}

/* "speed N", "speed auto", "no speed": without an argument it is automatic. */
int fc_speed(struct pinfo *info)
{
    static const int32_t automatic = 0;
    struct change change;
    const int has_speed = info->parameter_count > info->submode_context;
    const int32_t *speed = has_speed ? command_argument(info, 0, TYPE_INT) : &automatic;
    if (speed == NULL || begin(info, &change) != 0)
        return -1;
    if (*speed < 0 || *speed > 32)
        return refuse("Speeds are from 1 to 32 gigabits per second.");
    change.record.speed = (uint8_t)*speed;
    return finish(&change);
}

int fc_wwn(struct pinfo *info)
{
    struct change change;
    const void *wwn = info->no_flag ? no_wwn : command_argument(info, 0, TYPE_WWN);
    if (wwn == NULL || begin(info, &change) != 0)
        return -1;
    memcpy(change.record.wwn, wwn, sizeof change.record.wwn);
    return finish(&change);
}

int fc_vsan(struct pinfo *info)
{
    static const int32_t standard = VSAN_DEFAULT;
    struct change change;
    const int32_t *number = info->no_flag ? &standard : command_argument(info, 0, TYPE_VSAN);
    if (number == NULL || begin(info, &change) != 0)
        return -1;
    const struct vsan_record *target = store_vsan(*number);
    if (target == NULL || !target->exists)
        return refuse("There is no virtual SAN %d.", *number);
    if (!is_allowed(info, *number, 0))
        return refuse("You may not put an interface into virtual SAN %d.", *number);
    change.record.vsan = (uint16_t)(*number == VSAN_DEFAULT ? 0 : *number);
    return finish(&change);
}

/* The length of the character that the text begins with; 0 where that is none of UTF-8, or one that
 * a terminal would act on: the shell takes no such lines, so none can be in the configuration. */
static size_t printable_length(const uint8_t *text)
{
    static const uint32_t lowest[] = {0, ' ', 0xA0, 0x800, 0x10000}; /* of each length */
    const uint8_t lead = text[0];
    const size_t length = lead < 0x80       ? 1
                          : lead >> 5 == 6  ? 2
                          : lead >> 4 == 14 ? 3
                          : lead >> 3 == 30 ? 4
                                            : 0;
    uint32_t code = length < 2 ? lead : lead & 0x7FU >> length;
    for (size_t i = 1; i < length; ++i) {
        if ((text[i] & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (text[i] & 0x3FU);
    }
    const int is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    return length == 0 || code < lowest[length] || code == 0x7F || is_surrogate || code > 0x10FFFF
               ? 0
               : length;
}

int fc_description(struct pinfo *info)
{
    struct change change;
    const char *text = info->no_flag ? "" : command_argument(info, 0, TYPE_LINE);
    if (text == NULL || begin(info, &change) != 0)
        return -1;
    if (strlen(text) >= sizeof change.record.description)
        return refuse("A description has at most %zu characters.",
                      sizeof change.record.description - 1);
    size_t length = 0;
    for (const uint8_t *each = (const uint8_t *)text; *each != '\0'; each += length) {
        if ((length = printable_length(each)) == 0)
            return refuse("A description has printable characters of UTF-8, and nothing else.");
    }
    memset(change.record.description, 0, sizeof change.record.description);
    robust_strncpy(change.record.description, text, sizeof change.record.description);
    return finish(&change);
}

/* -- What there is -- */

/* Calls `use` for every interface, in the order of their names, until it returns other than 0. */
static int for_each(int (*use)(void *context, uint32_t ifindex, const struct fc_record *record),
                    void *context)
{
    int result = 0;
    for (uint32_t slot = 1; slot <= FC_SLOTS && result == 0; ++slot) {
        for (uint32_t port = 1; port <= FC_PORTS && result == 0; ++port) {
            const uint32_t ifindex = KIV_IFINDEX(FC_TYPE, slot, port);
            result = use(context, ifindex, store_fc(ifindex));
        }
    }
    return result;
}

struct count {
    int32_t vsan;
    uint32_t found;
};

static int count_one(void *context, uint32_t ifindex, const struct fc_record *record)
{
    struct count *count = context;
    (void)ifindex;
    count->found += vsan_of(record) == count->vsan;
    return 0;
}

uint32_t fc_count_in(int32_t vsan_number)
{
    struct count count = {vsan_number, 0};
    for_each(count_one, &count);
    return count.found;
}

static int move_one(void *context, uint32_t ifindex, const struct fc_record *record)
{
    if (vsan_of(record) != *(const int32_t *)context)
        return 0;
    struct fc_record moved = *record;
    moved.vsan = 0;
    return store_fc_change(ifindex, &moved);
}

int fc_move_from(int32_t vsan_number)
{
    return for_each(move_one, &vsan_number);
}

/* "auto" or the number. */
static const char *speed_text(const struct fc_record *record)
{
    static char text[8];
    snprintf(text, sizeof text, "%u", record->speed);
    return record->speed == 0 ? "auto" : text;
}

/* Two digits for each byte and ":" between them; the empty text for none. */
static const char *wwn_text(const struct fc_record *record)
{
    static char text[24];
    const uint8_t *b = record->wwn;
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3],
             b[4], b[5], b[6], b[7]);
    return memcmp(b, no_wwn, sizeof no_wwn) == 0 ? "" : text;
}

static int show_one(void *context, uint32_t ifindex, const struct fc_record *record)
{
    char name[16];
    if (!is_allowed(context, vsan_of(record), KIV_INTF_OPERATION_SHOW))
        return 0;
    snprintf(name, sizeof name, "fc%u/%u", KIV_IFINDEX_FIRST(ifindex), KIV_IFINDEX_SECOND(ifindex));
    kiv_buf_printf("%-9s %-5d %-5s %-5s %-23s %s\n", name, vsan_of(record),
                   record->is_shut ? "down" : "up", speed_text(record), wwn_text(record),
                   record->description);
    return 0;
}

int show_interface(struct pinfo *info)
{
    const kiv_interface *name = NULL;
    if (info->parameter_count > info->submode_context) {
        name = command_argument(info, 0, TYPE_INTERFACE);
        if (find(info, name, KIV_INTF_OPERATION_SHOW) == NULL)
            return -1;
    }
    kiv_buf_printf("%-9s %-5s %-5s %-5s %-23s %s\n", "Interface", "Vsan", "State", "Speed",
                   "World-wide name", "Description");
    return name == NULL ? for_each(show_one, info)
                        : show_one(info, name->ifindex, store_fc(name->ifindex));
}

static int is_configured(const struct fc_record *record)
{
    static const struct fc_record as_at_first = {0};
    return memcmp(record, &as_at_first, sizeof *record) != 0;
}

static int is_left_out(void *context, uint32_t ifindex, const struct fc_record *record)
{
    (void)ifindex;
    return is_configured(record) && !is_allowed(context, vsan_of(record), KIV_INTF_OPERATION_SHOW);
}

static int print_config(void *context, uint32_t ifindex, const struct fc_record *record)
{
    if (!is_configured(record) || !is_allowed(context, vsan_of(record), KIV_INTF_OPERATION_SHOW))
        return 0;
    kiv_buf_printf("interface fc%u/%u\n", KIV_IFINDEX_FIRST(ifindex), KIV_IFINDEX_SECOND(ifindex));
    if (*record->description != '\0')
        kiv_buf_printf("  description %s\n", record->description);
    if (record->speed != 0)
        kiv_buf_printf("  switchport speed %u\n", record->speed);
    if (*wwn_text(record) != '\0')
        kiv_buf_printf("  switchport wwn %s\n", wwn_text(record));
    if (record->vsan != 0)
        kiv_buf_printf("  switchport vsan %u\n", record->vsan);
    if (record->is_shut)
        kiv_buf_printf("  shutdown\n");
    return 0;
}

int fc_running_config(struct pinfo *info)
{
    /* Its part comes behind that of the virtual SANs, and once is enough. */
    if (for_each(is_left_out, info) && !is_vsan_left_out(info))
        print_left_out();
    return for_each(print_config, info);
}
