/*
 * The configuration in a file of fixed records, which is in memory as it is on the disk. A change
 * writes its record, so that whoever kills this process finds all that was confirmed.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vsan_module.h"

/* Of another form, or of another byte order, is another version. */
#define STORE_VERSION 0x5653414EU

struct store {
    uint32_t version;
    uint32_t size;
    uint8_t reserved[56];
    struct vsan_record vsans[VSAN_LAST + 1]; /* the first stands for no number */
    struct fc_record ports[FC_SLOTS * FC_PORTS];
};

_Static_assert(sizeof(struct vsan_record) == 64 && sizeof(struct fc_record) == 128,
               "records do not cross the blocks of a disk");

static struct store store;
static int store_file = -1;

/* FNV-1a, of all behind the checksum itself; a record of zeros, which nobody has written, has 0. */
static uint32_t checksum_of(const void *record, size_t size)
{
    const uint8_t *bytes = record;
    uint32_t sum = 0x811C9DC5U;
    uint8_t used = 0;
    for (size_t i = sizeof sum; i < size; ++i) {
        sum = (sum ^ bytes[i]) * 0x01000193U;
        used = (uint8_t)(used | bytes[i]);
    }
    return used == 0 ? 0 : sum;
}

static int is_sound(void)
{
    if (store.version != STORE_VERSION || store.size != sizeof store)
        return 0;
    for (size_t i = 0; i <= VSAN_LAST; ++i) {
        if (store.vsans[i].checksum != checksum_of(&store.vsans[i], sizeof store.vsans[i]))
            return 0;
    }
    for (size_t i = 0; i < FC_SLOTS * FC_PORTS; ++i) {
        if (store.ports[i].checksum != checksum_of(&store.ports[i], sizeof store.ports[i]))
            return 0;
    }
    return 1;
}

static int complain(const char *path, const char *what)
{
    fprintf(stderr, "vsan: %s: %s\n", path, what);
    return -1;
}

static int write_record(const void *record, size_t size, size_t offset)
{
    const ssize_t written = pwrite(store_file, record, size, (off_t)offset);
    if (written == (ssize_t)size)
        return 0;
    if (written >= 0)
        errno = ENOSPC;
    return -1;
}

/* A file that has its size from the beginning is not refused a change for want of room. */
static int make(const char *path)
{
    memset(&store, 0, sizeof store);
    store.version = STORE_VERSION;
    store.size = sizeof store;
    store.vsans[VSAN_DEFAULT].exists = 1;
    store.vsans[VSAN_DEFAULT].checksum =
        checksum_of(&store.vsans[VSAN_DEFAULT], sizeof store.vsans[0]);
    errno = posix_fallocate(store_file, 0, sizeof store);
    if (errno != 0 || write_record(&store, sizeof store, 0) != 0)
        return complain(path, strerror(errno));
    return 0;
}

static int set_aside(const char *path)
{
    char *other = NULL;
    if (asprintf(&other, "%s.damaged", path) < 0)
        return complain(path, strerror(ENOMEM));
    const int result = rename(path, other);
    if (result != 0)
        complain(path, strerror(errno));
    else
        fprintf(stderr, "vsan: %s is damaged or of another version: set aside as %s\n", path,
                other);
    free(other);
    return result;
}

static int open_file(const char *path)
{
    if (store_file >= 0)
        close(store_file);
    store_file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (store_file < 0)
        return complain(path, strerror(errno));
    if (flock(store_file, LOCK_EX | LOCK_NB) != 0)
        return complain(path, errno == EWOULDBLOCK ? "another module has it" : strerror(errno));
    return 0;
}

static void make_folder_of(const char *path)
{
    const char *name = strrchr(path, '/');
    char *folder = name == NULL ? NULL : strndup(path, (size_t)(name - path));
    if (folder != NULL && *folder != '\0')
        mkdir(folder, 0755);
    free(folder);
}

/* A file of no bytes has just been made, or its maker was killed before it wrote anything. */
int store_open(const char *path)
{
    make_folder_of(path);
    if (open_file(path) != 0)
        return -1;
    struct stat status;
    if (fstat(store_file, &status) != 0)
        return complain(path, strerror(errno));
    if (status.st_size == 0)
        return make(path);
    const ssize_t size = pread(store_file, &store, sizeof store, 0);
    if (size < 0)
        return complain(path, strerror(errno));
    if (status.st_size == sizeof store && size == sizeof store && is_sound())
        return 0;
    if (set_aside(path) != 0 || open_file(path) != 0)
        return -1;
    return make(path);
}

static struct vsan_record *find_vsan(int32_t number)
{
    return number < 1 || number > VSAN_LAST ? NULL : &store.vsans[number];
}

static struct fc_record *find_fc(uint32_t ifindex)
{
    const uint32_t slot = KIV_IFINDEX_FIRST(ifindex);
    const uint32_t port = KIV_IFINDEX_SECOND(ifindex);
    if (KIV_IFINDEX_TYPE(ifindex) != FC_TYPE || slot < 1 || slot > FC_SLOTS || port < 1 ||
        port > FC_PORTS)
        return NULL;
    return &store.ports[(slot - 1) * FC_PORTS + port - 1];
}

const struct vsan_record *store_vsan(int32_t number)
{
    return find_vsan(number);
}

const struct fc_record *store_fc(uint32_t ifindex)
{
    return find_fc(ifindex);
}

/* What could be written of a change that failed is written over with what was there. */
static int change(void *record, void *changed, size_t size)
{
    const uint32_t checksum = checksum_of(changed, size);
    memcpy(changed, &checksum, sizeof checksum);
    const size_t offset = (size_t)((char *)record - (char *)&store);
    if (write_record(changed, size, offset) == 0) {
        memcpy(record, changed, size);
        return 0;
    }
    const int error = errno;
    write_record(record, size, offset);
    return refuse("The change cannot be stored: %s.", strerror(error));
}

int store_vsan_change(int32_t number, const struct vsan_record *changed)
{
    struct vsan_record next = *changed;
    return change(find_vsan(number), &next, sizeof next);
}

int store_fc_change(uint32_t ifindex, const struct fc_record *changed)
{
    struct fc_record next = *changed;
    return change(find_fc(ifindex), &next, sizeof next);
}
