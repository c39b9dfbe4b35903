#define _GNU_SOURCE
#include "CScanKit/sg_scan.h"
#include "CScanKit/sg_mounts.h"
#include "sg_scan_internal.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <pthread.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

_Static_assert(sizeof(sg_flat_node_t) == 296, "node records are 296 bytes");

enum {
    DENTS_BUFFER_SIZE = 256 * 1024,
    CANCEL_CHECK_STRIDE = 256, /* entries between cancel checks inside one big directory */
    MAX_THREADS = 64,
    MAX_KEPT_HANDLES = 1024,   /* folders kept open for their subfolders, at most */
    HIDDEN_LIST_LIMIT = 1 << 20,
    MOUNT_TABLE_REREADS = 4,   /* a walk re-reads the mount table this often for mounts made meanwhile */
    OPEN_RETRIES = 200,        /* out of descriptors: waits of OPEN_RETRY_WAIT_MS a walk may spend for one to come back */
    OPEN_RETRY_WAIT_MS = 5,
    NAMES_INITIAL = 64 * 1024,
    POPULATE_AHEAD = 2 * 1024 * 1024, /* node memory made present ahead of the writers, bytes */
};

#ifndef MADV_POPULATE_WRITE
#define MADV_POPULATE_WRITE 23
#endif

/* Only inside a listing: the mount point of a pseudo file system, stored as a folder but never entered. */
enum { SG_OBJ_SEALED_DIRECTORY = 6 };

#define NO_PENDING INT32_MAX
#define STATX_WANTED (STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_BLOCKS | STATX_MNT_ID)
#define DIRECTORY_FLAGS (O_RDONLY | O_DIRECTORY | O_CLOEXEC)

/* What `_scan_mutex` points at. The node array is one reservation of address space that
   never moves, so workers write their batches outside the lock; `pending` holds the first
   index of the batch each worker is still writing, and a snapshot copies only below all of them. */
typedef struct sg_scan_lock {
    pthread_mutex_t mutex;
    int32_t rolled_up;
    size_t reserved_bytes;
    size_t usable_bytes;    /* the part of the reservation that may be written */
    size_t populated_bytes; /* the part made present ahead of the writers */
    int32_t pending[MAX_THREADS];
    uint64_t allocated_scanned; /* progress only: added to without the mutex */
} sg_scan_lock_t;

struct sg_mount_check {
    uint32_t root_major;
    uint32_t root_minor;
    pthread_mutex_t mutex;
    sg_mount_table_t table;
    int32_t rereads;
};

/* An open folder kept for its subfolders, so each of them is opened relative to it instead of
   walking a whole path. Freed with the last subfolder that used it. */
typedef struct sg_dir_handle {
    int fd;
    int32_t references;
} sg_dir_handle_t;

/* A folder to read: `relative` (whole names) below the kept folder `anchor`; the root has neither. */
typedef struct sg_work {
    sg_dir_handle_t* anchor;
    char* relative;
    int32_t node_index;
} sg_work_t;

/* The shared queue of directories still to read. `pending` counts queued and running work,
   so the walk is over when it reaches 0. */
typedef struct sg_pool {
    pthread_mutex_t mutex;
    pthread_cond_t wake;
    sg_work_t* items;
    size_t count;
    size_t capacity;
    size_t pending;
} sg_pool_t;

typedef struct sg_context {
    sg_scan_result_t* result;
    sg_scan_lock_t* lock;
    sg_pool_t pool;
    int32_t* cancel_flag;
    sg_dir_handle_t root;
    int32_t open_handles;
    int32_t handle_cap;
    int32_t open_retries;
    struct sg_mount_check mounts;
} sg_context_t;

typedef struct sg_worker {
    sg_context_t* context;
    sg_lister_t lister;
    int32_t index;
    pthread_t thread;
} sg_worker_t;

static const char* const package_suffixes[] = {
    ".app", ".framework", ".bundle", ".plugin", ".kext", ".appex", ".xpc",
    ".qlgenerator", ".mdimporter", ".prefPane", ".component", ".saver", ".pkg",
};

int sg_is_package_name(const char* name)
{
    /* Every suffix starts with its only ".", so a match starts at the name's last one. */
    const char* dot = name ? strrchr(name, '.') : NULL;
    if (!dot || strlen(name) < 4) return 0;
    for (size_t i = 0; i < sizeof package_suffixes / sizeof package_suffixes[0]; i++)
        if (strcasecmp(dot, package_suffixes[i]) == 0) return 1;
    return 0;
}

void sg_request_cancel(int32_t* cancel_flag)
{
    if (cancel_flag) __atomic_store_n(cancel_flag, 1, __ATOMIC_RELAXED);
}

static int is_cancelled(const int32_t* cancel_flag)
{
    return cancel_flag && __atomic_load_n(cancel_flag, __ATOMIC_RELAXED) != 0;
}

static int32_t load_counter(const int32_t* counter) { return __atomic_load_n(counter, __ATOMIC_RELAXED); }
static void add_counter(int32_t* counter, int32_t amount) { __atomic_fetch_add(counter, amount, __ATOMIC_RELAXED); }

int32_t sg_get_items_scanned(const sg_scan_result_t* result) { return result ? load_counter(&result->_items_scanned) : 0; }
int32_t sg_get_dirs_scanned(const sg_scan_result_t* result) { return result ? load_counter(&result->_dirs_scanned) : 0; }
int32_t sg_get_files_scanned(const sg_scan_result_t* result) { return result ? load_counter(&result->_files_scanned) : 0; }
int32_t sg_get_unreadable_count(const sg_scan_result_t* result)
{
    return result ? load_counter(&result->_unreadable_count) : 0;
}

static sg_scan_lock_t* scan_lock(const sg_scan_result_t* result)
{
    return (sg_scan_lock_t*)__atomic_load_n(&result->_scan_mutex, __ATOMIC_ACQUIRE);
}

uint64_t sg_get_allocated_scanned(const sg_scan_result_t* result)
{
    const sg_scan_lock_t* lock = result ? scan_lock(result) : NULL;
    return lock ? __atomic_load_n(&lock->allocated_scanned, __ATOMIC_RELAXED) : 0;
}

static uint8_t obj_type_for_mode(mode_t mode)
{
    if (S_ISREG(mode)) return SG_OBJ_FILE;
    if (S_ISDIR(mode)) return SG_OBJ_DIRECTORY;
    if (S_ISLNK(mode)) return SG_OBJ_SYMLINK;
    return SG_OBJ_OTHER;
}

static void copy_name(char* destination, const char* name)
{
    size_t length = strnlen(name, 255);
    memcpy(destination, name, length);
    destination[length] = '\0';
}

static uint64_t allocated_of(const struct statx* sx)
{
    return sx->stx_blocks > (uint64_t)INT64_MAX / 512u ? (uint64_t)INT64_MAX : sx->stx_blocks * 512u;
}

static uint64_t logical_of(const struct statx* sx)
{
    return sx->stx_size > (uint64_t)INT64_MAX ? (uint64_t)INT64_MAX : sx->stx_size;
}

/* ---- mounts ---- */

static int is_pseudo_mount(struct sg_mount_check* check, const struct statx* sx)
{
    pthread_mutex_lock(&check->mutex);
    const int pseudo = sg_mount_table_is_pseudo(&check->table, sx, &check->rereads, MOUNT_TABLE_REREADS);
    pthread_mutex_unlock(&check->mutex);
    return pseudo;
}

/* ---- listing ---- */

static size_t entries_bytes(int32_t capacity) { return (size_t)capacity * sizeof(sg_list_entry_t); }

int sg_lister_init(sg_lister_t* lister)
{
    memset(lister, 0, sizeof *lister);
    lister->capacity = SG_INITIAL_LIST_CAPACITY;
    lister->dents = malloc(DENTS_BUFFER_SIZE);
    /* Its own mapping, so that growing and shrinking it really moves memory to and from the system. */
    void* entries = mmap(NULL, entries_bytes(lister->capacity), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    lister->entries = entries == MAP_FAILED ? NULL : entries;
    if (lister->dents && lister->entries) return 0;
    sg_lister_free(lister);
    return -1;
}

void sg_lister_free(sg_lister_t* lister)
{
    free(lister->dents);
    if (lister->entries) munmap(lister->entries, entries_bytes(lister->capacity));
    free(lister->names);
    memset(lister, 0, sizeof *lister);
}

static int grow_entries(sg_lister_t* lister)
{
    if (lister->capacity > INT32_MAX / 2) return -1;
    void* grown = mremap(lister->entries, entries_bytes(lister->capacity), entries_bytes(lister->capacity * 2), MREMAP_MAYMOVE);
    if (grown == MAP_FAILED) return -1;
    lister->entries = grown;
    lister->capacity *= 2;
    return 0;
}

static void shrink_buffers(sg_lister_t* lister)
{
    lister->names_length = 0;
    if (lister->names_capacity > NAMES_INITIAL) {
        free(lister->names);
        lister->names = NULL;
        lister->names_capacity = 0;
    }
    if (lister->capacity <= SG_INITIAL_LIST_CAPACITY) return;
    void* shrunk = mremap(lister->entries, entries_bytes(lister->capacity), entries_bytes(SG_INITIAL_LIST_CAPACITY), 0);
    if (shrunk == MAP_FAILED) return;
    lister->entries = shrunk;
    lister->capacity = SG_INITIAL_LIST_CAPACITY;
}

/* The next directory read overwrites `dents`: the names of entries [from, count) move to the
   name buffer first (their pointers are set once it stops moving). */
static int keep_names(sg_lister_t* lister, int32_t from, int32_t count)
{
    for (int32_t i = from; i < count; i++) {
        sg_list_entry_t* entry = &lister->entries[i];
        size_t needed = lister->names_length + entry->name_length + 1;
        if (needed > UINT32_MAX) return -1;
        if (needed > lister->names_capacity) {
            size_t capacity = lister->names_capacity ? lister->names_capacity : NAMES_INITIAL;
            while (capacity < needed) capacity *= 2;
            char* grown = realloc(lister->names, capacity);
            if (!grown) return -1;
            lister->names = grown;
            lister->names_capacity = capacity;
        }
        memcpy(lister->names + lister->names_length, entry->name, entry->name_length + 1);
        entry->name_offset = (uint32_t)lister->names_length;
        entry->name = NULL;
        lister->names_length = needed;
    }
    return 0;
}

static void fill_entry(sg_list_entry_t* entry, const char* name, const struct statx* sx, struct sg_mount_check* mounts)
{
    entry->name = name;
    entry->name_length = (uint32_t)strlen(name);
    uint8_t type = obj_type_for_mode(sx->stx_mode);
    entry->is_package = type == SG_OBJ_DIRECTORY && sg_is_package_name(name);
    if (type == SG_OBJ_DIRECTORY && !entry->is_package && mounts
        && sg_may_be_foreign_mount(sx, mounts->root_major, mounts->root_minor) && is_pseudo_mount(mounts, sx))
        type = SG_OBJ_SEALED_DIRECTORY;
    entry->obj_type = type;
    entry->is_hidden = name[0] == '.';
    entry->is_readable = (sx->stx_mode & S_IRUSR) != 0;
    entry->allocated_size = allocated_of(sx);
    entry->logical_size = logical_of(sx);
}

/* The desktop convention: a folder's ".hidden" file lists further names to hide, one per line.
   Read only when it is a regular file: opening a FIFO or a device could block for ever. */
static void apply_hidden_list(int dir_fd, sg_list_entry_t* entries, int32_t count)
{
    int fd = openat(dir_fd, ".hidden", O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return;
    struct stat st;
    char* text = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? malloc(HIDDEN_LIST_LIMIT + 1) : NULL;
    if (text) {
        size_t length = 0;
        for (ssize_t got; length < HIDDEN_LIST_LIMIT && (got = read(fd, text + length, HIDDEN_LIST_LIMIT - length)) > 0;)
            length += (size_t)got;
        text[length] = '\0';
        for (char *line = text, *end; line < text + length; line = end + 1) {
            end = memchr(line, '\n', (size_t)(text + length - line));
            if (!end) end = text + length;
            *end = '\0';
            for (int32_t i = 0; *line && i < count; i++)
                if (strcmp(entries[i].name, line) == 0) entries[i].is_hidden = 1;
        }
        free(text);
    }
    close(fd);
}

int32_t sg_lister_read(sg_lister_t* lister, int fd, struct sg_mount_check* mounts, const int32_t* cancel_flag,
                       int32_t* out_count)
{
    *out_count = 0;
    shrink_buffers(lister);
    /* Two halves read in turn: a folder that fits one read (nearly all) never copies a name;
       a bigger one moves a half's names away only before that half is read into again. */
    char* halves[2] = {lister->dents, lister->dents + DENTS_BUFFER_SIZE / 2};
    int32_t first[2] = {0, 0}, end[2] = {0, 0};
    int32_t count = 0;
    int has_hidden_list = 0;
    for (int half = 0;; half ^= 1) {
        if (end[half] > first[half] && keep_names(lister, first[half], end[half]) != 0) return SG_LIST_UNREADABLE;
        ssize_t got = getdents64(fd, halves[half], DENTS_BUFFER_SIZE / 2);
        if (got <= 0) break;
        if (is_cancelled(cancel_flag)) return SG_LIST_CANCELLED;
        first[half] = count;
        for (ssize_t offset = 0; offset < got;) {
            const struct dirent64* dirent = (const struct dirent64*)(halves[half] + offset);
            offset += dirent->d_reclen;
            const char* name = dirent->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
            if (count == lister->capacity && grow_entries(lister) != 0) return SG_LIST_UNREADABLE;
            if (((uint32_t)count & (CANCEL_CHECK_STRIDE - 1)) == CANCEL_CHECK_STRIDE - 1 && is_cancelled(cancel_flag))
                return SG_LIST_CANCELLED;
            /* Stat'ed by the whole name straight from the directory read: a name longer than a
               node holds (exFAT, NTFS, CIFS allow them) is only cut when it is stored. */
            struct statx sx;
            if (statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_WANTED, &sx) != 0) {
                /* Names without search permission on the folder: the folder counts as unreadable.
                   Anything else means the entry went away after it was listed. */
                if (errno == EACCES) return SG_LIST_UNREADABLE;
                continue;
            }
            fill_entry(&lister->entries[count], name, &sx, mounts);
            if (!has_hidden_list && name[0] == '.' && strcmp(name, ".hidden") == 0) has_hidden_list = 1;
            count++;
        }
        end[half] = count;
    }
    for (int32_t i = 0; i < count; i++)
        if (!lister->entries[i].name) lister->entries[i].name = lister->names + lister->entries[i].name_offset;
    if (has_hidden_list) apply_hidden_list(fd, lister->entries, count);
    *out_count = count;
    return SG_LIST_OK;
}

/* ---- the work queue ---- */

static int pool_init(sg_pool_t* pool)
{
    memset(pool, 0, sizeof *pool);
    if (pthread_mutex_init(&pool->mutex, NULL) != 0) return -1;
    if (pthread_cond_init(&pool->wake, NULL) != 0) {
        pthread_mutex_destroy(&pool->mutex);
        return -1;
    }
    return 0;
}

static void pool_destroy(sg_pool_t* pool)
{
    for (size_t i = 0; i < pool->count; i++) free(pool->items[i].relative);
    free(pool->items);
    pthread_cond_destroy(&pool->wake);
    pthread_mutex_destroy(&pool->mutex);
}

/* Queues `count` directories at once; returns how many were queued. */
static size_t pool_push(sg_pool_t* pool, const sg_work_t* items, size_t count)
{
    pthread_mutex_lock(&pool->mutex);
    if (pool->count + count > pool->capacity) {
        size_t capacity = pool->capacity ? pool->capacity : 1024;
        while (capacity < pool->count + count) capacity *= 2;
        sg_work_t* grown = realloc(pool->items, capacity * sizeof *grown);
        if (!grown) {
            pthread_mutex_unlock(&pool->mutex);
            return 0;
        }
        pool->items = grown;
        pool->capacity = capacity;
    }
    memcpy(pool->items + pool->count, items, count * sizeof *items);
    pool->count += count;
    pool->pending += count;
    if (count == 1) pthread_cond_signal(&pool->wake);
    else pthread_cond_broadcast(&pool->wake);
    pthread_mutex_unlock(&pool->mutex);
    return count;
}

/* Takes the newest directory (depth first keeps the queue short); 0 once all work is done. */
static int pool_pop(sg_pool_t* pool, sg_work_t* item)
{
    pthread_mutex_lock(&pool->mutex);
    while (pool->count == 0 && pool->pending > 0) pthread_cond_wait(&pool->wake, &pool->mutex);
    int has_item = pool->count > 0;
    if (has_item) *item = pool->items[--pool->count];
    pthread_mutex_unlock(&pool->mutex);
    return has_item;
}

static void pool_done(sg_pool_t* pool)
{
    pthread_mutex_lock(&pool->mutex);
    if (--pool->pending == 0) pthread_cond_broadcast(&pool->wake);
    pthread_mutex_unlock(&pool->mutex);
}

/* ---- the node array ---- */

static size_t node_bytes(int64_t capacity)
{
    const size_t page = 4096;
    return ((size_t)capacity * sizeof(sg_flat_node_t) + page - 1) & ~(page - 1);
}

/* Reserves address space for as many nodes as a result can index and makes the first
   SG_INITIAL_NODE_CAPACITY usable. Growth then only widens the usable part: the array never
   moves, so workers write into it without holding the lock. Not advised for huge pages: with
   the kernel's usual "madvise" defrag setting each huge-page fault may compact memory
   synchronously, which measured slower than the small-page faults it saves. */
static sg_flat_node_t* reserve_nodes(size_t* reserved_bytes)
{
    for (int64_t nodes = INT32_MAX; nodes >= SG_INITIAL_NODE_CAPACITY; nodes /= 2) {
        size_t bytes = node_bytes(nodes);
        void* block = mmap(NULL, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (block == MAP_FAILED) continue;
        if (mprotect(block, node_bytes(SG_INITIAL_NODE_CAPACITY), PROT_READ | PROT_WRITE) != 0) {
            munmap(block, bytes);
            return NULL;
        }
        *reserved_bytes = bytes;
        return block;
    }
    return NULL;
}

static int grow_nodes(sg_scan_result_t* result, sg_scan_lock_t* lock, int64_t needed)
{
    int64_t capacity = result->node_capacity;
    int64_t limit = (int64_t)(lock->reserved_bytes / sizeof(sg_flat_node_t));
    if (limit > INT32_MAX) limit = INT32_MAX;
    if (needed > limit) return -1;
    while (capacity < needed) capacity = capacity * 2 > limit ? limit : capacity * 2;
    size_t from = node_bytes(result->node_capacity), to = node_bytes(capacity);
    if (to > from && mprotect((char*)result->nodes + from, to - from, PROT_READ | PROT_WRITE) != 0) return -1;
    result->node_capacity = (int32_t)capacity;
    __atomic_store_n(&lock->usable_bytes, to, __ATOMIC_RELEASE);
    return 0;
}

/* Makes the node memory a little ahead of `end` present in one call, outside the lock: the
   kernel does that for less than page faults cost one by one. Concurrent writers are safe,
   since it never changes contents; kernels before 5.14 refuse it and faults do the work. */
static void populate_ahead(sg_scan_result_t* result, sg_scan_lock_t* lock, size_t end)
{
    size_t done = __atomic_load_n(&lock->populated_bytes, __ATOMIC_RELAXED);
    if (end <= done) return;
    size_t usable = __atomic_load_n(&lock->usable_bytes, __ATOMIC_ACQUIRE);
    size_t target = ((end + POPULATE_AHEAD) & ~(size_t)(POPULATE_AHEAD - 1));
    if (target > usable) target = usable;
    if (target <= done
        || !__atomic_compare_exchange_n(&lock->populated_bytes, &done, target, 0, __ATOMIC_RELAXED, __ATOMIC_RELAXED))
        return;
    if (madvise((char*)result->nodes + done, target - done, MADV_POPULATE_WRITE) != 0 && errno == EINVAL)
        __atomic_store_n(&lock->populated_bytes, SIZE_MAX, __ATOMIC_RELAXED);
}

void sg_discard_nodes_before(sg_scan_result_t* result, int32_t index)
{
    if (!result || !result->nodes || index <= 0) return;
    if (index > result->node_count) index = result->node_count;
    const uintptr_t page = 4096;
    uintptr_t start = (uintptr_t)result->nodes;
    uintptr_t end = ((uintptr_t)(result->nodes + index)) & ~(page - 1);
    if (end > start) madvise((void*)start, end - start, MADV_DONTNEED);
}

/* Reserves room for a folder's entries under the lock, then writes them outside it; a
   snapshot meanwhile stops below the batch, so it sees a folder whole or not at all. */
static int append_entries(sg_context_t* context, int32_t worker, const sg_list_entry_t* entries, int32_t count,
                          int32_t parent_index, int32_t* base)
{
    sg_scan_result_t* result = context->result;
    sg_scan_lock_t* lock = context->lock;
    pthread_mutex_lock(&lock->mutex);
    if ((int64_t)result->node_count + count > result->node_capacity
        && grow_nodes(result, lock, (int64_t)result->node_count + count) != 0) {
        pthread_mutex_unlock(&lock->mutex);
        return -1;
    }
    *base = result->node_count;
    result->node_count += count;
    __atomic_store_n(&lock->pending[worker], *base, __ATOMIC_RELAXED);
    pthread_mutex_unlock(&lock->mutex);
    populate_ahead(result, lock, (size_t)(*base + count) * sizeof(sg_flat_node_t));

    sg_flat_node_t* nodes = result->nodes + *base;
    for (int32_t i = 0; i < count; i++) {
        const sg_list_entry_t* entry = &entries[i];
        sg_flat_node_t* node = &nodes[i];
        const size_t name_length = entry->name_length < 255 ? entry->name_length : 255;
        /* memmove stays a library call, fast for names this short; the compiler would inline a
           bounded memcpy as a string instruction that costs more than the copy. */
        memmove(node->name, entry->name, name_length);
        node->name[name_length] = '\0';
        node->parent_index = parent_index;
        node->obj_type = entry->is_package ? SG_OBJ_PACKAGE
            : entry->obj_type == SG_OBJ_SEALED_DIRECTORY ? SG_OBJ_DIRECTORY
                                                         : entry->obj_type;
        node->is_hidden = entry->is_hidden;
        node->is_package = entry->is_package;
        node->is_readable = entry->is_readable;
        node->allocated_size = entry->allocated_size;
        node->logical_size = entry->logical_size;
        node->child_count = 0;
        node->first_child = -1;
    }
    __atomic_store_n(&lock->pending[worker], NO_PENDING, __ATOMIC_RELEASE);
    return 0;
}

/* ---- folders ---- */

static void release_handle(sg_context_t* context, sg_dir_handle_t* handle)
{
    if (!handle || __atomic_sub_fetch(&handle->references, 1, __ATOMIC_ACQ_REL) != 0) return;
    if (handle == &context->root) return; /* closed when the walk ends */
    close(handle->fd);
    free(handle);
    __atomic_fetch_sub(&context->open_handles, 1, __ATOMIC_RELAXED);
}

/* Keeps the folder open for its `subfolders` while fewer than the cap are kept; NULL otherwise. */
static sg_dir_handle_t* keep_open(sg_context_t* context, int fd, int32_t subfolders)
{
    int32_t cap = __atomic_load_n(&context->handle_cap, __ATOMIC_RELAXED);
    if (__atomic_add_fetch(&context->open_handles, 1, __ATOMIC_RELAXED) <= cap) {
        sg_dir_handle_t* handle = malloc(sizeof *handle);
        if (handle) {
            handle->fd = fd;
            handle->references = subfolders;
            return handle;
        }
    }
    __atomic_fetch_sub(&context->open_handles, 1, __ATOMIC_RELAXED);
    return NULL;
}

static int open_no_links(int dir_fd, const char* path)
{
    if (!strchr(path, '/')) return openat(dir_fd, path, DIRECTORY_FLAGS | O_NOFOLLOW);
    struct open_how how = {.flags = DIRECTORY_FLAGS, .resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS};
    int fd = (int)syscall(SYS_openat2, dir_fd, path, &how, sizeof how);
    if (fd >= 0 || (errno != ENOSYS && errno != EPERM)) return fd;
    return openat(dir_fd, path, DIRECTORY_FLAGS | O_NOFOLLOW); /* kernels before 5.6 */
}

int sg_open_below(int dir_fd, const char* relative)
{
    size_t length = strlen(relative);
    if (length < PATH_MAX) return open_no_links(dir_fd, relative);
    char piece[PATH_MAX];
    int fd = dir_fd;
    for (const char* rest = relative; *rest;) {
        size_t take = strlen(rest);
        if (take >= PATH_MAX) {
            take = PATH_MAX - 1;
            while (take > 0 && rest[take] != '/') take--;
            if (take == 0) {
                errno = ENAMETOOLONG;
                take = (size_t)-1;
            }
        }
        int next = -1;
        if (take != (size_t)-1) {
            memcpy(piece, rest, take);
            piece[take] = '\0';
            next = open_no_links(fd, piece);
        }
        int saved = errno;
        if (fd != dir_fd) close(fd);
        errno = saved;
        if (next < 0) return -1;
        fd = next;
        rest += take;
        while (*rest == '/') rest++;
    }
    return fd;
}

static int open_work_directory(sg_context_t* context, const sg_work_t* item)
{
    for (;;) {
        int fd = sg_open_below(item->anchor->fd, item->relative);
        if (fd >= 0 || (errno != EMFILE && errno != ENFILE) || is_cancelled(context->cancel_flag)
            || __atomic_sub_fetch(&context->open_retries, 1, __ATOMIC_RELAXED) < 0)
            return fd;
        /* Out of descriptors: keep fewer folders open from now on, and wait for one to come back.
           The waits are shared by the whole walk, so a process that stays out of descriptors
           costs a scan one second, not one per folder. */
        int32_t open_now = __atomic_load_n(&context->open_handles, __ATOMIC_RELAXED);
        __atomic_store_n(&context->handle_cap, open_now / 2, __ATOMIC_RELAXED);
        struct timespec wait = {0, OPEN_RETRY_WAIT_MS * 1000000L};
        nanosleep(&wait, NULL);
    }
}

static void push_batch(sg_context_t* context, sg_dir_handle_t* anchor, sg_work_t* batch, size_t count)
{
    if (count == 0 || pool_push(&context->pool, batch, count) == count) return;
    for (size_t k = 0; k < count; k++) {
        free(batch[k].relative);
        release_handle(context, anchor);
    }
    add_counter(&context->result->_unreadable_count, (int32_t)count); /* out of memory: counted, not lost */
}

/* Queues every subfolder (packages and sealed mount points excepted), each holding one
   reference on `anchor` and its path below it. */
static void queue_subdirectories(sg_context_t* context, sg_dir_handle_t* anchor, const char* prefix,
                                 const sg_lister_t* lister, int32_t count, int32_t base)
{
    size_t prefix_length = prefix ? strlen(prefix) : 0;
    enum { BATCH = 64 };
    sg_work_t batch[BATCH];
    size_t batched = 0;
    for (int32_t i = 0; i < count; i++) {
        const sg_list_entry_t* entry = &lister->entries[i];
        if (entry->obj_type != SG_OBJ_DIRECTORY || entry->is_package) continue;
        const char* name = entry->name;
        size_t name_length = entry->name_length;
        char* relative = malloc(prefix_length + 1 + name_length + 1);
        if (!relative) {
            add_counter(&context->result->_unreadable_count, 1);
            release_handle(context, anchor);
            continue;
        }
        char* end = relative;
        if (prefix_length) {
            memcpy(end, prefix, prefix_length);
            end += prefix_length;
            *end++ = '/';
        }
        memcpy(end, name, name_length + 1);
        batch[batched++] = (sg_work_t) {anchor, relative, base + i};
        if (batched == BATCH) {
            push_batch(context, anchor, batch, batched);
            batched = 0;
        }
    }
    push_batch(context, anchor, batch, batched);
}

static void scan_one_dir(sg_context_t* context, sg_worker_t* worker, const sg_work_t* item)
{
    if (is_cancelled(context->cancel_flag)) return;

    sg_scan_result_t* result = context->result;
    const int is_root = item->anchor == NULL;
    int fd = is_root ? context->root.fd : open_work_directory(context, item);
    if (fd < 0) {
        add_counter(&result->_unreadable_count, 1);
        return;
    }
    int32_t count = 0;
    int32_t status = sg_lister_read(&worker->lister, fd, &context->mounts, context->cancel_flag, &count);
    int32_t base = 0;
    if (status == SG_LIST_OK && count > 0
        && append_entries(context, worker->index, worker->lister.entries, count, item->node_index, &base) != 0)
        status = SG_LIST_UNREADABLE; /* out of memory: counted rather than lost without a trace */
    if (status == SG_LIST_UNREADABLE) add_counter(&result->_unreadable_count, 1);

    int32_t directories = 0;
    if (status == SG_LIST_OK) {
        int32_t sealed = 0;
        uint64_t allocated = 0;
        for (int32_t i = 0; i < count; i++) {
            const sg_list_entry_t* entry = &worker->lister.entries[i];
            directories += entry->obj_type == SG_OBJ_DIRECTORY && !entry->is_package;
            sealed += entry->obj_type == SG_OBJ_SEALED_DIRECTORY;
            allocated += entry->allocated_size;
        }
        sg_scan_lock_t* lock = scan_lock(result);
        if (lock) __atomic_fetch_add(&lock->allocated_scanned, allocated, __ATOMIC_RELAXED);
        add_counter(&result->_items_scanned, count);
        add_counter(&result->_files_scanned, count - directories - sealed);
        add_counter(&result->_dirs_scanned, directories + sealed);
    }
    if (directories == 0) {
        if (!is_root) close(fd);
        return;
    }
    sg_dir_handle_t* anchor;
    const char* prefix = NULL;
    if (is_root) {
        anchor = &context->root;
        __atomic_fetch_add(&anchor->references, directories, __ATOMIC_RELAXED);
    } else if ((anchor = keep_open(context, fd, directories)) == NULL) {
        close(fd);
        anchor = item->anchor;
        __atomic_fetch_add(&anchor->references, directories, __ATOMIC_RELAXED);
        prefix = item->relative;
    }
    queue_subdirectories(context, anchor, prefix, &worker->lister, count, base);
}

static void* run_worker(void* argument)
{
    sg_worker_t* worker = argument;
    sg_context_t* context = worker->context;
    for (sg_work_t item; pool_pop(&context->pool, &item); pool_done(&context->pool)) {
        scan_one_dir(context, worker, &item);
        release_handle(context, item.anchor);
        free(item.relative);
    }
    return NULL;
}

static int32_t default_thread_count(void)
{
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online < 1 ? 1 : online > MAX_THREADS ? MAX_THREADS : (int32_t)online;
}

static long open_descriptor_count(void)
{
    int fd = open("/proc/self/fd", DIRECTORY_FLAGS);
    if (fd < 0) return 64;
    char buffer[4096];
    long count = 0;
    for (ssize_t got; (got = getdents64(fd, buffer, sizeof buffer)) > 0;)
        for (ssize_t offset = 0; offset < got; offset += ((struct dirent64*)(buffer + offset))->d_reclen) count++;
    close(fd);
    return count - 3; /* ".", ".." and the descriptor reading them */
}

/* How many folders may stay open at once: half of what the descriptor limit leaves after
   what is open already and what each worker needs for itself. */
static int32_t kept_handle_cap(int32_t threads)
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return MAX_KEPT_HANDLES;
    long spare = ((long)limit.rlim_cur - open_descriptor_count() - 4L * threads - 8) / 2;
    return spare < 0 ? 0 : spare > MAX_KEPT_HANDLES ? MAX_KEPT_HANDLES : (int32_t)spare;
}

/* Runs the pool: the calling thread is worker 0, the others are started here. */
static void run_walk(sg_worker_t* workers, int32_t thread_count)
{
    int32_t started = 1;
    for (int32_t i = 1; i < thread_count; i++, started++)
        if (pthread_create(&workers[i].thread, NULL, run_worker, &workers[i]) != 0) break;
    run_worker(&workers[0]);
    for (int32_t i = 1; i < started; i++) pthread_join(workers[i].thread, NULL);
}

static void unmap_nodes(sg_scan_result_t* result, size_t bytes)
{
    if (result->nodes) munmap(result->nodes, bytes);
    free(result->children);
    result->nodes = NULL;
    result->children = NULL;
    result->node_count = 0;
    result->node_capacity = 0;
    result->children_count = 0;
}

/* Frees the arrays under the lock, so that a concurrent snapshot sees either all or nothing;
   the lock itself lives until sg_scan_result_free. */
static void release_arrays(sg_scan_result_t* result)
{
    sg_scan_lock_t* lock = scan_lock(result);
    if (lock) pthread_mutex_lock(&lock->mutex);
    unmap_nodes(result, lock ? lock->reserved_bytes : node_bytes(result->node_capacity));
    if (lock) pthread_mutex_unlock(&lock->mutex);
}

static void fill_root(sg_flat_node_t* root, const char* path, const struct statx* sx)
{
    const char* slash = strrchr(path, '/');
    memset(root, 0, sizeof *root);
    copy_name(root->name, slash ? slash + 1 : path);
    root->parent_index = -1;
    root->is_package = sg_is_package_name(slash ? slash + 1 : path) != 0;
    root->obj_type = root->is_package ? SG_OBJ_PACKAGE : SG_OBJ_DIRECTORY;
    root->is_hidden = root->name[0] == '.';
    root->is_readable = (sx->stx_mode & S_IRUSR) != 0;
    root->allocated_size = allocated_of(sx);
    root->logical_size = logical_of(sx);
    root->child_count = 0;
    root->first_child = -1;
}

/* A scan that ends with its root: a package, a pseudo file system, or a folder that cannot be opened. */
static int32_t finish_single_node(sg_scan_result_t* result, const sg_flat_node_t* root)
{
    void* block = mmap(NULL, node_bytes(1), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return SG_SCAN_FAILED;
    result->nodes = block;
    result->node_capacity = 1;
    result->nodes[0] = *root;
    result->node_count = 1;
    sg_build_children(result);
    return SG_SCAN_DONE;
}

static void reset_counters(sg_scan_result_t* result)
{
    /* Atomic like every other touch of the counters: a poll may already be reading them. */
    __atomic_store_n(&result->_items_scanned, 1, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_dirs_scanned, 1, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_files_scanned, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_unreadable_count, 0, __ATOMIC_RELAXED);
}

static void finish_pass(sg_flat_node_t* nodes, int32_t count, int sizes, int links);

static int32_t run_scan(sg_context_t* context, sg_scan_lock_t* lock, int32_t thread_count)
{
    sg_scan_result_t* result = context->result;
    sg_worker_t* workers = calloc((size_t)thread_count, sizeof *workers);
    int32_t usable_workers = 0;
    while (workers && usable_workers < thread_count && sg_lister_init(&workers[usable_workers].lister) == 0) {
        workers[usable_workers].context = context;
        workers[usable_workers].index = usable_workers;
        usable_workers++;
    }
    sg_work_t root_work = {NULL, NULL, 0};
    int32_t status = SG_SCAN_FAILED;
    if (usable_workers > 0 && pool_init(&context->pool) == 0) {
        if (pool_push(&context->pool, &root_work, 1) == 1) {
            __atomic_store_n(&result->_scan_mutex, (void*)lock, __ATOMIC_RELEASE);
            run_walk(workers, usable_workers);
            status = SG_SCAN_DONE;
        }
        pool_destroy(&context->pool);
    }
    for (int32_t i = 0; i < usable_workers; i++) sg_lister_free(&workers[i].lister);
    free(workers);
    if (status != SG_SCAN_DONE) return status;

    if (is_cancelled(context->cancel_flag)) {
        release_arrays(result);
        return SG_SCAN_CANCELLED;
    }
    /* Under the lock, so that a snapshot taken meanwhile never sees half-rolled sizes. */
    pthread_mutex_lock(&lock->mutex);
    finish_pass(result->nodes, result->node_count, 1, 1);
    sg_build_children(result);
    lock->rolled_up = 1;
    pthread_mutex_unlock(&lock->mutex);
    return SG_SCAN_DONE;
}

int32_t sg_full_scan_with_threads(const char* path, sg_scan_result_t* result, int32_t* cancel_flag,
                                  int32_t thread_count)
{
    if (!path || !result) return SG_SCAN_FAILED;
    /* The root is taken as given, a symbolic link followed; an automount point is not triggered. */
    struct statx root_sx;
    if (statx(AT_FDCWD, path, AT_NO_AUTOMOUNT, STATX_WANTED, &root_sx) != 0 || !S_ISDIR(root_sx.stx_mode))
        return SG_SCAN_FAILED;
    result->nodes = NULL;
    result->children = NULL;
    result->node_count = 0;
    result->node_capacity = 0;
    result->children_count = 0;
    reset_counters(result);
    sg_flat_node_t root;
    fill_root(&root, path, &root_sx);

    sg_mount_table_t table;
    sg_mount_table_read(&table);
    const int sealed = sg_mount_table_verdict(&table, &root_sx) == SG_MOUNT_PSEUDO;
    const int root_fd = root.is_package || sealed ? -1 : open(path, DIRECTORY_FLAGS);
    if (root_fd < 0) {
        if (!root.is_package && !sealed) add_counter(&result->_unreadable_count, 1);
        sg_mount_table_free(&table);
        return finish_single_node(result, &root);
    }

    if (thread_count <= 0) thread_count = default_thread_count();
    if (thread_count > MAX_THREADS) thread_count = MAX_THREADS;

    sg_context_t* context = calloc(1, sizeof *context);
    sg_scan_lock_t* lock = calloc(1, sizeof *lock);
    int32_t status = SG_SCAN_FAILED;
    if (context && lock && pthread_mutex_init(&lock->mutex, NULL) == 0) {
        for (int32_t i = 0; i < MAX_THREADS; i++) lock->pending[i] = NO_PENDING;
        result->nodes = reserve_nodes(&lock->reserved_bytes);
        lock->usable_bytes = node_bytes(SG_INITIAL_NODE_CAPACITY);
        if (result->nodes && pthread_mutex_init(&context->mounts.mutex, NULL) == 0) {
            result->node_capacity = SG_INITIAL_NODE_CAPACITY;
            result->nodes[0] = root;
            result->node_count = 1;
            context->result = result;
            context->lock = lock;
            context->cancel_flag = cancel_flag;
            context->root = (sg_dir_handle_t) {root_fd, 1};
            context->handle_cap = kept_handle_cap(thread_count);
            context->open_retries = OPEN_RETRIES;
            context->mounts.root_major = root_sx.stx_dev_major;
            context->mounts.root_minor = root_sx.stx_dev_minor;
            context->mounts.table = table;
            table.mounts = NULL;
            status = run_scan(context, lock, thread_count);
            sg_mount_table_free(&context->mounts.table);
            pthread_mutex_destroy(&context->mounts.mutex);
        }
        if (status == SG_SCAN_FAILED) {
            if (!scan_lock(result)) {
                unmap_nodes(result, lock->reserved_bytes);
                pthread_mutex_destroy(&lock->mutex);
                free(lock);
            }
            lock = NULL;
            sg_scan_result_free(result);
        }
    } else {
        free(lock);
    }
    sg_mount_table_free(&table);
    free(context);
    close(root_fd);
    return status;
}

int32_t sg_full_scan(const char* path, sg_scan_result_t* result, int32_t* cancel_flag)
{
    return sg_full_scan_with_threads(path, result, cancel_flag, 0);
}

/* ---- finishing passes ---- */

/* One backward pass: every node's sizes go to its parent, held at the signed 64-bit maximum,
   and (with `links`) every folder learns its run of children. Since a folder's children are
   one contiguous run of indices, children[k] is simply k + 1 and a folder's first_child is its
   first child's index minus one. */
static void finish_pass(sg_flat_node_t* nodes, int32_t count, int sizes, int links)
{
    enum { AHEAD = 16 }; /* the parents a few nodes ahead are fetched early: they are the misses */
    for (int32_t i = count - 1; i >= 0; i--) {
        if (i >= AHEAD) {
            uint32_t ahead = (uint32_t)nodes[i - AHEAD].parent_index;
            if (ahead < (uint32_t)count) __builtin_prefetch(&nodes[ahead].allocated_size, 1);
        }
        sg_flat_node_t* node = &nodes[i];
        if (links && node->child_count == 0) node->first_child = 0;
        uint32_t parent = (uint32_t)node->parent_index;
        if (i == 0 || parent >= (uint32_t)count) continue;
        sg_flat_node_t* up = &nodes[parent];
        if (sizes) {
            up->allocated_size = sg_size_add(up->allocated_size, node->allocated_size);
            up->logical_size = sg_size_add(up->logical_size, node->logical_size);
        }
        if (links) {
            up->child_count++;
            up->first_child = i - 1;
        }
    }
}

void sg_accumulate_sizes(sg_scan_result_t* result)
{
    if (result->node_count < 2) return;
    finish_pass(result->nodes, result->node_count, 1, 0);
}

/* Fills the children array; the walker has already set each folder's run (see finish_pass),
   which this derives for any other caller. */
void sg_build_children(sg_scan_result_t* result)
{
    int32_t count = result->node_count;
    if (count < 1 || !result->nodes) return;
    if (result->nodes[0].first_child < 0) {
        for (int32_t i = 0; i < count; i++) result->nodes[i].child_count = 0;
        finish_pass(result->nodes, count, 0, 1);
    }
    free(result->children);
    result->children = malloc((size_t)(count > 1 ? count - 1 : 1) * sizeof *result->children);
    if (!result->children) {
        result->children_count = 0;
        return;
    }
    result->children_count = count - 1;
    for (int32_t k = 0; k < count - 1; k++) result->children[k] = k + 1;
}

int32_t sg_snapshot_nodes(sg_scan_result_t* result, sg_flat_node_t* buffer, int32_t max_nodes)
{
    if (!result || !buffer || max_nodes < 1) return 0;
    sg_scan_lock_t* lock = scan_lock(result);
    if (!lock) return 0;
    pthread_mutex_lock(&lock->mutex);
    if (!result->nodes || result->node_count < 1) {
        pthread_mutex_unlock(&lock->mutex);
        return 0;
    }
    int32_t count = result->node_count < max_nodes ? result->node_count : max_nodes;
    for (int32_t i = 0; i < MAX_THREADS; i++) {
        int32_t pending = __atomic_load_n(&lock->pending[i], __ATOMIC_ACQUIRE);
        if (pending < count) count = pending;
    }
    memcpy(buffer, result->nodes, (size_t)count * sizeof *buffer);
    int rolled_up = lock->rolled_up;
    pthread_mutex_unlock(&lock->mutex);

    if (!rolled_up) finish_pass(buffer, count, 1, 0);
    for (int32_t i = 0; i < count; i++) {
        buffer[i].child_count = 0;
        buffer[i].first_child = -1;
    }
    for (int32_t i = 1; i < count; i++) {
        uint32_t parent = (uint32_t)buffer[i].parent_index;
        if (parent < (uint32_t)count) buffer[parent].child_count++;
    }
    return count;
}

void sg_scan_result_free(sg_scan_result_t* result)
{
    if (!result) return;
    sg_scan_lock_t* lock = (sg_scan_lock_t*)__atomic_exchange_n(&result->_scan_mutex, NULL, __ATOMIC_ACQ_REL);
    unmap_nodes(result, lock ? lock->reserved_bytes : node_bytes(result->node_capacity));
    if (lock) {
        pthread_mutex_destroy(&lock->mutex);
        free(lock);
    }
}
