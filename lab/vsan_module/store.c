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
#define STORE_MODE 0600
#define MOST_DAMAGED 999
#define LONGEST_RECORD sizeof(struct fc_record)

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
static const char *store_path;

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

static int complain(const char *path, const char *what)
{
    fprintf(stderr, "vsan: %s: %s\n", path, what);
    return -1;
}

static int write_at(int file, const void *bytes, size_t size, size_t offset)
{
    const ssize_t written = pwrite(file, bytes, size, (off_t)offset);
    if (written == (ssize_t)size)
        return 0;
    if (written >= 0)
        errno = ENOSPC;
    return -1;
}

/* A file that has its size from the beginning is not refused a change for want of room. */
static int fill(int file)
{
    if (flock(file, LOCK_EX | LOCK_NB) != 0)
        return -1;
    const int error = posix_fallocate(file, 0, sizeof store);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return write_at(file, &store, sizeof store, 0) == 0 ? fsync(file) : -1;
}

static int replace_by(const char *other)
{
    unlink(other);
    const int file = open(other, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, STORE_MODE);
    if (file < 0)
        return -1;
    if (fill(file) != 0 || rename(other, store_path) != 0) {
        const int error = errno;
        close(file);
        unlink(other);
        errno = error;
        return -1;
    }
    close(store_file);
    store_file = file;
    return 0;
}

/* Puts a new file in the place of whatever is there. Returns 0, or -1 with errno and the place as
 * it was. */
static int write_anew(void)
{
    char *other = NULL;
    if (asprintf(&other, "%s.new", store_path) < 0) {
        errno = ENOMEM;
        return -1;
    }
    const int result = replace_by(other);
    const int error = errno;
    free(other);
    errno = error;
    return result;
}

/* Whether the file that is open is the one that the next start will find, and whole. */
static int is_in_place(void)
{
    struct stat here;
    struct stat there;
    return fstat(store_file, &here) == 0 && stat(store_path, &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino &&
           here.st_size == (off_t)sizeof store;
}

static void reset(void)
{
    memset(&store, 0, sizeof store);
    store.version = STORE_VERSION;
    store.size = sizeof store;
}

static void make_vsan(size_t number)
{
    struct vsan_record *record = &store.vsans[number];
    memset(record, 0, sizeof *record);
    record->exists = 1;
    record->checksum = checksum_of(record, sizeof *record);
}

/* The file gets one more name, under which it stays when another takes its place. */
static int keep_damaged(const char *what)
{
    char *other = NULL;
    int result = -1;
    errno = EEXIST;
    for (int number = 1; result != 0 && errno == EEXIST && number <= MOST_DAMAGED; ++number) {
        free(other);
        other = NULL;
        if (asprintf(&other, "%s.damaged.%d", store_path, number) < 0)
            return complain(store_path, strerror(ENOMEM));
        result = link(store_path, other);
    }
    if (result == 0)
        fprintf(stderr, "vsan: %s %s: kept as %s\n", store_path, what, other);
    else
        complain(store_path, strerror(errno));
    free(other);
    return result;
}

static size_t drop_if_unsound(void *record, size_t size)
{
    uint32_t checksum = 0;
    memcpy(&checksum, record, sizeof checksum);
    if (checksum == checksum_of(record, size))
        return 0;
    memset(record, 0, size);
    return 1;
}

/* Returns how many there were. */
static size_t drop_unsound(void)
{
    size_t dropped = 0;
    for (size_t i = 0; i <= VSAN_LAST; ++i)
        dropped += drop_if_unsound(&store.vsans[i], sizeof store.vsans[i]);
    for (size_t i = 0; i < FC_SLOTS * FC_PORTS; ++i)
        dropped += drop_if_unsound(&store.ports[i], sizeof store.ports[i]);
    return dropped;
}

/* What has lost its record is there all the same: VSAN_DEFAULT, and where interfaces are. */
static void make_needed_vsans(void)
{
    if (!store.vsans[VSAN_DEFAULT].exists)
        make_vsan(VSAN_DEFAULT);
    for (size_t i = 0; i < FC_SLOTS * FC_PORTS; ++i) {
        const uint16_t number = store.ports[i].vsan;
        if (number != 0 && number <= VSAN_LAST && !store.vsans[number].exists)
            make_vsan(number);
    }
}

static int open_file(void)
{
    store_file = open(store_path, O_RDWR | O_CREAT | O_CLOEXEC, STORE_MODE);
    if (store_file < 0)
        return complain(store_path, strerror(errno));
    if (flock(store_file, LOCK_EX | LOCK_NB) != 0)
        return complain(store_path,
                        errno == EWOULDBLOCK ? "another module has it" : strerror(errno));
    if (fchmod(store_file, STORE_MODE) != 0)
        return complain(store_path, strerror(errno));
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

/* Whether what has been read is a store, of which records may be unsound. */
static int is_store(const struct stat *status, ssize_t size)
{
    return status->st_size == (off_t)sizeof store && size == (ssize_t)sizeof store &&
           store.version == STORE_VERSION && store.size == sizeof store;
}

static int repair(const struct stat *status, ssize_t size)
{
    const int is_known = is_store(status, size);
    const size_t dropped = is_known ? drop_unsound() : 0;
    if (is_known && dropped == 0)
        return 0;
    if (!is_known)
        reset();
    make_needed_vsans();
    char what[64] = "is damaged or of another version";
    if (is_known)
        snprintf(what, sizeof what, "has %zu damaged records, which are dropped", dropped);
    /* A file of no bytes has just been made, or its maker was killed before it wrote anything. */
    if (status->st_size != 0 && keep_damaged(what) != 0)
        return -1;
    return write_anew() == 0 ? 0 : complain(store_path, strerror(errno));
}

int store_open(const char *path)
{
    store_path = path;
    make_folder_of(path);
    if (open_file() != 0)
        return -1;
    struct stat status;
    if (fstat(store_file, &status) != 0)
        return complain(path, strerror(errno));
    if (!S_ISREG(status.st_mode))
        return complain(path, "is no regular file");
    const ssize_t size = pread(store_file, &store, sizeof store, 0);
    return size < 0 ? complain(path, strerror(errno)) : repair(&status, size);
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
    char before[LONGEST_RECORD];
    memcpy(before, record, size);
    memcpy(record, changed, size);
    const size_t offset = (size_t)((char *)record - (char *)&store);
    const int in_place = is_in_place();
    if ((in_place ? write_at(store_file, record, size, offset) : write_anew()) == 0)
        return 0;
    const int error = errno;
    memcpy(record, before, size);
    if (in_place)
        write_at(store_file, record, size, offset);
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
