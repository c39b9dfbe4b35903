#define _GNU_SOURCE
#include "CScanKit/sg_scan.h"
#include "sg_scan_internal.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

_Static_assert(sizeof(sg_flat_node_t) == 296, "node records are 296 bytes");
_Static_assert(sizeof(sg_list_entry_t) == 280, "listing entries are 280 bytes");

enum {
    DENTS_BUFFER_SIZE = 256 * 1024,
    CANCEL_CHECK_STRIDE = 256, /* entries between cancel checks inside one big directory */
    MAX_THREADS = 64,
    MAX_OPEN_HANDLES = 256, /* beyond this many kept folders, subfolders are opened by path */
    HIDDEN_LIST_LIMIT = 1 << 20,
};

/* What `_scan_mutex` points at: the node lock, and whether the live sizes are already rolled up. */
typedef struct sg_scan_lock {
    pthread_mutex_t mutex;
    int32_t rolled_up;
} sg_scan_lock_t;

/* An open folder kept for its subfolders, so each of them is opened relative to it instead of
   walking the whole path again. Freed with the last subfolder that used it. */
typedef struct sg_dir_handle {
    int fd;
    int32_t references;
} sg_dir_handle_t;

typedef struct sg_work {
    char* path;
    sg_dir_handle_t* parent; /* NULL: open by path */
    int32_t parent_index;    /* index of this folder's own node */
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
    int32_t open_handles;
} sg_context_t;

/* Per-worker buffers, reused for every directory the worker reads. */
typedef struct sg_worker {
    sg_context_t* context;
    char* dents;
    sg_list_entry_t* entries;
    int32_t capacity;
    pthread_t thread;
} sg_worker_t;

static const char* const package_suffixes[] = {
    ".app", ".framework", ".bundle", ".plugin", ".kext", ".appex", ".xpc",
    ".qlgenerator", ".mdimporter", ".prefPane", ".component", ".saver", ".pkg",
};

int sg_is_package_name(const char* name)
{
    if (!name) return 0;
    size_t length = strlen(name);
    if (length < 4) return 0;
    for (size_t i = 0; i < sizeof package_suffixes / sizeof package_suffixes[0]; i++) {
        size_t suffix_length = strlen(package_suffixes[i]);
        if (length >= suffix_length && strcasecmp(name + length - suffix_length, package_suffixes[i]) == 0)
            return 1;
    }
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

/* The desktop convention: a folder's ".hidden" file lists further names to hide, one per line. */
static void apply_hidden_list(int dir_fd, sg_list_entry_t* entries, int32_t count)
{
    int fd = openat(dir_fd, ".hidden", O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return;
    char* text = malloc(HIDDEN_LIST_LIMIT + 1);
    size_t length = 0;
    if (text) {
        for (ssize_t got; length < HIDDEN_LIST_LIMIT
             && (got = read(fd, text + length, HIDDEN_LIST_LIMIT - length)) > 0;)
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

/* Reads a directory in two steps: names first, so that a directory too big for `capacity`
   is refused before any statx is spent on it; then one statx per name relative to the
   open descriptor. */
static int32_t list_directory_at(int fd, char* dents, sg_list_entry_t* entries, int32_t capacity,
                                 int32_t* out_count, int32_t* out_needed, const int32_t* cancel_flag)
{
    *out_count = 0;

    /* Past `capacity` the names are only counted, so that one retry with room enough follows. */
    int64_t count = 0;
    int has_hidden_list = 0;
    for (ssize_t got; (got = getdents64(fd, dents, DENTS_BUFFER_SIZE)) > 0;) {
        if (is_cancelled(cancel_flag)) return SG_LIST_CANCELLED;
        for (ssize_t offset = 0; offset < got;) {
            const struct dirent64* entry = (const struct dirent64*)(dents + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
            if (count < capacity) {
                copy_name(entries[count].name, name);
                if (strcmp(name, ".hidden") == 0) has_hidden_list = 1;
            }
            count++;
        }
    }
    if (out_needed) *out_needed = count > INT32_MAX ? INT32_MAX : (int32_t)count;
    if (count > capacity) {
        *out_count = capacity;
        return SG_LIST_TOO_SMALL;
    }

    int32_t kept = 0;
    for (int32_t i = 0; i < (int32_t)count; i++) {
        if (i % CANCEL_CHECK_STRIDE == CANCEL_CHECK_STRIDE - 1 && is_cancelled(cancel_flag))
            return SG_LIST_CANCELLED;
        struct statx sx;
        if (statx(fd, entries[i].name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                  STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_BLOCKS, &sx) != 0) {
            /* Names without search permission on the folder: the folder counts as unreadable.
               Anything else means the entry went away after it was listed. */
            if (errno == EACCES) return SG_LIST_UNREADABLE;
            continue;
        }
        sg_list_entry_t* stored = &entries[kept];
        if (kept != i) memcpy(stored->name, entries[i].name, strlen(entries[i].name) + 1);
        stored->obj_type = obj_type_for_mode(sx.stx_mode);
        stored->is_hidden = stored->name[0] == '.';
        stored->is_package = stored->obj_type == SG_OBJ_DIRECTORY && sg_is_package_name(stored->name);
        stored->is_readable = (sx.stx_mode & S_IRUSR) != 0;
        stored->allocated_size = (uint64_t)sx.stx_blocks * 512u;
        stored->logical_size = sx.stx_size;
        kept++;
    }
    if (has_hidden_list) apply_hidden_list(fd, entries, kept);
    *out_count = kept;
    return SG_LIST_OK;
}

int32_t sg_list_directory(const char* path, sg_list_entry_t* entries, int32_t capacity, int32_t* out_count)
{
    char* dents = malloc(DENTS_BUFFER_SIZE);
    if (!dents) {
        *out_count = 0;
        return SG_LIST_UNREADABLE;
    }
    int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int32_t status = fd < 0 ? SG_LIST_UNREADABLE : list_directory_at(fd, dents, entries, capacity, out_count, NULL, NULL);
    if (fd >= 0) close(fd);
    free(dents);
    return status;
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
    for (size_t i = 0; i < pool->count; i++) free(pool->items[i].path);
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

/* ---- the walk ---- */

/* The node array lives in its own mapping: growth moves page tables with mremap instead of
   copying. It is not advised for huge pages: with the kernel's usual "madvise" defrag setting
   each huge-page fault may compact memory synchronously, which measured slower than the
   small-page faults it saves whenever other programs had used memory just before. */
static size_t node_bytes(int64_t capacity)
{
    const size_t page = 4096;
    return ((size_t)capacity * sizeof(sg_flat_node_t) + page - 1) & ~(page - 1);
}

static sg_flat_node_t* map_nodes(int64_t capacity)
{
    void* block = mmap(NULL, node_bytes(capacity), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return NULL;
    return block;
}

static void unmap_nodes(sg_flat_node_t* nodes, int64_t capacity)
{
    if (nodes) munmap(nodes, node_bytes(capacity));
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

static int grow_nodes(sg_scan_result_t* result, int64_t needed)
{
    int64_t capacity = result->node_capacity;
    while (capacity < needed) capacity *= 2;
    if (capacity > INT32_MAX) return -1;
    void* grown = mremap(result->nodes, node_bytes(result->node_capacity), node_bytes(capacity), MREMAP_MAYMOVE);
    if (grown == MAP_FAILED) return -1;
    result->nodes = grown;
    result->node_capacity = (int32_t)capacity;
    return 0;
}

static void release_handle(sg_context_t* context, sg_dir_handle_t* handle)
{
    if (!handle || __atomic_sub_fetch(&handle->references, 1, __ATOMIC_ACQ_REL) != 0) return;
    close(handle->fd);
    free(handle);
    __atomic_fetch_sub(&context->open_handles, 1, __ATOMIC_RELAXED);
}

/* Keeps the folder open for its `subfolders` unless many folders are open already; then it
   is closed and they are opened by path. */
static sg_dir_handle_t* keep_open(sg_context_t* context, int fd, int32_t subfolders)
{
    sg_dir_handle_t* handle = NULL;
    if (__atomic_load_n(&context->open_handles, __ATOMIC_RELAXED) < MAX_OPEN_HANDLES
        && (handle = malloc(sizeof *handle)) != NULL) {
        handle->fd = fd;
        handle->references = subfolders;
        __atomic_fetch_add(&context->open_handles, 1, __ATOMIC_RELAXED);
        return handle;
    }
    close(fd);
    return NULL;
}

static void push_or_drop(sg_context_t* context, sg_work_t* batch, size_t count)
{
    if (count == 0 || pool_push(&context->pool, batch, count) == count) return;
    for (size_t k = 0; k < count; k++) {
        free(batch[k].path);
        release_handle(context, batch[k].parent);
    }
}

/* Queues every subfolder (packages excepted); each holds one reference on `handle`. */
static void queue_subdirectories(sg_context_t* context, const char* path, sg_dir_handle_t* handle,
                                 const sg_list_entry_t* entries, int32_t count, int32_t base)
{
    size_t path_length = strlen(path);
    int needs_separator = path_length == 0 || path[path_length - 1] != '/';
    enum { BATCH = 64 };
    sg_work_t batch[BATCH];
    size_t batched = 0;
    for (int32_t i = 0; i < count; i++) {
        if (entries[i].obj_type != SG_OBJ_DIRECTORY || entries[i].is_package) continue;
        size_t name_length = strlen(entries[i].name);
        char* child = malloc(path_length + (size_t)needs_separator + name_length + 1);
        if (!child) {
            release_handle(context, handle);
            continue;
        }
        memcpy(child, path, path_length);
        if (needs_separator) child[path_length] = '/';
        memcpy(child + path_length + (size_t)needs_separator, entries[i].name, name_length + 1);
        batch[batched++] = (sg_work_t) {child, handle, base + i};
        if (batched == BATCH) {
            push_or_drop(context, batch, batched);
            batched = 0;
        }
    }
    push_or_drop(context, batch, batched);
}

static int open_work_directory(const sg_work_t* item)
{
    if (item->parent) {
        const char* slash = strrchr(item->path, '/');
        return openat(item->parent->fd, slash ? slash + 1 : item->path,
                      O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    }
    /* The root is opened as given, symbolic link or not; below it links are never followed. */
    return open(item->path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | (item->parent_index == 0 ? 0 : O_NOFOLLOW));
}

/* Appends a folder's entries in one batch under the node lock, so that a snapshot sees them
   all or not at all. */
static int append_entries(sg_context_t* context, const sg_list_entry_t* entries, int32_t count,
                          int32_t parent_index, int32_t* base)
{
    sg_scan_result_t* result = context->result;
    pthread_mutex_lock(&context->lock->mutex);
    if ((int64_t)result->node_count + count > result->node_capacity
        && grow_nodes(result, (int64_t)result->node_count + count) != 0) {
        pthread_mutex_unlock(&context->lock->mutex);
        return -1;
    }
    *base = result->node_count;
    for (int32_t i = 0; i < count; i++) {
        const sg_list_entry_t* entry = &entries[i];
        sg_flat_node_t* node = &result->nodes[*base + i];
        memcpy(node->name, entry->name, strlen(entry->name) + 1);
        node->parent_index = parent_index;
        node->obj_type = entry->is_package ? SG_OBJ_PACKAGE : entry->obj_type;
        node->is_hidden = entry->is_hidden;
        node->is_package = entry->is_package;
        node->is_readable = entry->is_readable;
        node->allocated_size = entry->allocated_size;
        node->logical_size = entry->logical_size;
        node->child_count = 0;
        node->first_child = -1;
    }
    result->node_count += count;
    pthread_mutex_unlock(&context->lock->mutex);
    return 0;
}

/* Lists into the worker's buffer, doubling it while the folder does not fit. */
/* Lists into the worker's buffer, doubling it until the folder fits. A failure to grow
   drops the folder like an unreadable one would, without counting it. */
static int32_t list_into_worker(sg_context_t* context, sg_worker_t* worker, int fd, int32_t* count)
{
    int32_t status;
    int32_t needed = 0;
    while ((status = list_directory_at(fd, worker->dents, worker->entries, worker->capacity, count, &needed,
                                       context->cancel_flag)) == SG_LIST_TOO_SMALL) {
        int64_t capacity = worker->capacity;
        while (capacity < needed) capacity *= 2;
        if (capacity > INT32_MAX) return SG_LIST_CANCELLED;
        sg_list_entry_t* grown = realloc(worker->entries, (size_t)capacity * sizeof *grown);
        if (!grown) return SG_LIST_CANCELLED;
        worker->entries = grown;
        worker->capacity = (int32_t)capacity;
        if (is_cancelled(context->cancel_flag) || lseek(fd, 0, SEEK_SET) != 0) return SG_LIST_CANCELLED;
    }
    return status;
}

static void scan_one_dir(sg_context_t* context, sg_worker_t* worker, const sg_work_t* item)
{
    if (is_cancelled(context->cancel_flag)) return;

    sg_scan_result_t* result = context->result;
    int fd = open_work_directory(item);
    if (fd < 0) {
        add_counter(&result->_unreadable_count, 1);
        return;
    }
    int32_t count = 0;
    int32_t status = list_into_worker(context, worker, fd, &count);
    if (status == SG_LIST_UNREADABLE) add_counter(&result->_unreadable_count, 1);
    int32_t base = 0;
    if (status != SG_LIST_OK || count == 0
        || append_entries(context, worker->entries, count, item->parent_index, &base) != 0) {
        close(fd);
        return;
    }

    int32_t directories = 0;
    for (int32_t i = 0; i < count; i++)
        directories += worker->entries[i].obj_type == SG_OBJ_DIRECTORY && !worker->entries[i].is_package;
    add_counter(&result->_items_scanned, count);
    add_counter(&result->_files_scanned, count - directories);
    add_counter(&result->_dirs_scanned, directories);

    if (directories == 0) {
        close(fd);
        return;
    }
    queue_subdirectories(context, item->path, keep_open(context, fd, directories), worker->entries, count, base);
}

static void* run_worker(void* argument)
{
    sg_worker_t* worker = argument;
    sg_context_t* context = worker->context;
    for (sg_work_t item; pool_pop(&context->pool, &item); pool_done(&context->pool)) {
        scan_one_dir(context, worker, &item);
        release_handle(context, item.parent);
        free(item.path);
    }
    return NULL;
}

static void free_worker(sg_worker_t* worker)
{
    free(worker->dents);
    free(worker->entries);
}

static int init_worker(sg_worker_t* worker, sg_context_t* context)
{
    memset(worker, 0, sizeof *worker);
    worker->context = context;
    worker->capacity = SG_INITIAL_LIST_CAPACITY;
    worker->dents = malloc(DENTS_BUFFER_SIZE);
    worker->entries = malloc((size_t)worker->capacity * sizeof *worker->entries);
    if (worker->dents && worker->entries) return 0;
    free_worker(worker);
    return -1;
}

static int32_t default_thread_count(void)
{
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online < 1 ? 1 : online > MAX_THREADS ? MAX_THREADS : (int32_t)online;
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

/* Frees the arrays under the lock, so that a concurrent snapshot sees either all or nothing;
   the lock itself lives until sg_scan_result_free. */
static void free_arrays(sg_scan_result_t* result)
{
    unmap_nodes(result->nodes, result->node_capacity);
    free(result->children);
    result->nodes = NULL;
    result->children = NULL;
    result->node_count = 0;
    result->node_capacity = 0;
    result->children_count = 0;
}

static void release_arrays(sg_scan_result_t* result)
{
    sg_scan_lock_t* lock = scan_lock(result);
    if (lock) pthread_mutex_lock(&lock->mutex);
    free_arrays(result);
    if (lock) pthread_mutex_unlock(&lock->mutex);
}

static void fill_root(sg_flat_node_t* root, const char* path, const struct stat* st)
{
    const char* slash = strrchr(path, '/');
    memset(root, 0, sizeof *root);
    copy_name(root->name, slash ? slash + 1 : path);
    root->parent_index = -1;
    root->is_package = sg_is_package_name(root->name) != 0;
    root->obj_type = root->is_package ? SG_OBJ_PACKAGE : SG_OBJ_DIRECTORY;
    root->is_hidden = root->name[0] == '.';
    root->is_readable = (st->st_mode & S_IRUSR) != 0;
    root->allocated_size = (uint64_t)st->st_blocks * 512u;
    root->logical_size = (uint64_t)st->st_size;
    root->child_count = 0;
    root->first_child = -1;
}

int32_t sg_full_scan_with_threads(const char* path, sg_scan_result_t* result, int32_t* cancel_flag,
                                  int32_t thread_count)
{
    if (!path || !result) return SG_SCAN_FAILED;
    struct stat st;
    if (stat(path, &st) != 0 || !S_ISDIR(st.st_mode)) return SG_SCAN_FAILED;

    result->node_capacity = SG_INITIAL_NODE_CAPACITY;
    result->nodes = map_nodes(SG_INITIAL_NODE_CAPACITY);
    if (!result->nodes) {
        result->node_capacity = 0;
        return SG_SCAN_FAILED;
    }
    result->children = NULL;
    result->node_count = 0;
    result->children_count = 0;
    /* Atomic like every other touch of the counters: a poll may already be reading them. */
    __atomic_store_n(&result->_items_scanned, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_dirs_scanned, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_files_scanned, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&result->_unreadable_count, 0, __ATOMIC_RELAXED);

    fill_root(&result->nodes[0], path, &st);
    result->node_count = 1;
    add_counter(&result->_items_scanned, 1);
    add_counter(&result->_dirs_scanned, 1);

    if (result->nodes[0].is_package) {
        sg_build_children(result);
        return SG_SCAN_DONE;
    }

    if (thread_count <= 0) thread_count = default_thread_count();
    if (thread_count > MAX_THREADS) thread_count = MAX_THREADS;

    sg_context_t* context = calloc(1, sizeof *context);
    sg_scan_lock_t* lock = calloc(1, sizeof *lock);
    sg_worker_t* workers = calloc((size_t)thread_count, sizeof *workers);
    char* root_path = strdup(path);
    int ready = context && lock && workers && root_path;
    int lock_ready = ready && pthread_mutex_init(&lock->mutex, NULL) == 0;
    int pool_ready = lock_ready && pool_init(&context->pool) == 0;
    int32_t usable_workers = 0;
    if (pool_ready) {
        context->result = result;
        context->lock = lock;
        context->cancel_flag = cancel_flag;
        while (usable_workers < thread_count && init_worker(&workers[usable_workers], context) == 0)
            usable_workers++;
    }
    sg_work_t root_work = {root_path, NULL, 0};
    if (usable_workers == 0 || pool_push(&context->pool, &root_work, 1) == 0) {
        for (int32_t i = 0; i < usable_workers; i++) free_worker(&workers[i]);
        if (pool_ready) pool_destroy(&context->pool);
        if (lock_ready) pthread_mutex_destroy(&lock->mutex);
        free(workers);
        free(root_path);
        free(lock);
        free(context);
        sg_scan_result_free(result);
        return SG_SCAN_FAILED;
    }
    __atomic_store_n(&result->_scan_mutex, (void*)lock, __ATOMIC_RELEASE);

    run_walk(workers, usable_workers);

    for (int32_t i = 0; i < usable_workers; i++) free_worker(&workers[i]);
    pool_destroy(&context->pool);
    free(workers);
    free(context);

    if (is_cancelled(cancel_flag)) {
        release_arrays(result);
        return SG_SCAN_CANCELLED;
    }
    /* Under the lock, so that a snapshot taken meanwhile never sees half-rolled sizes. */
    pthread_mutex_lock(&lock->mutex);
    sg_accumulate_sizes(result);
    sg_build_children(result);
    lock->rolled_up = 1;
    pthread_mutex_unlock(&lock->mutex);
    return SG_SCAN_DONE;
}

int32_t sg_full_scan(const char* path, sg_scan_result_t* result, int32_t* cancel_flag)
{
    return sg_full_scan_with_threads(path, result, cancel_flag, 0);
}

/* ---- finishing passes ---- */

static void roll_up(sg_flat_node_t* nodes, int32_t count)
{
    for (int32_t i = count - 1; i >= 1; i--) {
        uint32_t parent = (uint32_t)nodes[i].parent_index;
        if (parent < (uint32_t)count) {
            nodes[parent].allocated_size += nodes[i].allocated_size;
            nodes[parent].logical_size += nodes[i].logical_size;
        }
    }
}

void sg_accumulate_sizes(sg_scan_result_t* result)
{
    if (result->node_count < 2) return;
    roll_up(result->nodes, result->node_count);
}

void sg_build_children(sg_scan_result_t* result)
{
    int32_t count = result->node_count;
    if (count < 1 || !result->nodes) return;
    sg_flat_node_t* nodes = result->nodes;
    uint32_t* counters = calloc((size_t)count, sizeof *counters);
    if (!counters) return;
    for (int32_t i = 1; i < count; i++) {
        uint32_t parent = (uint32_t)nodes[i].parent_index;
        if (parent < (uint32_t)count) counters[parent]++;
    }
    int32_t total = 0;
    for (int32_t i = 0; i < count; i++) {
        nodes[i].child_count = (int32_t)counters[i];
        nodes[i].first_child = total;
        total += (int32_t)counters[i];
    }
    free(result->children);
    result->children = malloc((size_t)(total > 0 ? total : 1) * sizeof *result->children);
    if (!result->children) {
        result->children_count = 0;
        free(counters);
        return;
    }
    result->children_count = total;
    memset(counters, 0, (size_t)count * sizeof *counters);
    for (int32_t i = 1; i < count; i++) {
        uint32_t parent = (uint32_t)nodes[i].parent_index;
        if (parent < (uint32_t)count) result->children[nodes[parent].first_child + (int32_t)counters[parent]++] = i;
    }
    free(counters);
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
    memcpy(buffer, result->nodes, (size_t)count * sizeof *buffer);
    int rolled_up = lock->rolled_up;
    pthread_mutex_unlock(&lock->mutex);

    if (!rolled_up) roll_up(buffer, count);
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
    if (lock) {
        pthread_mutex_destroy(&lock->mutex);
        free(lock);
    }
    free_arrays(result);
}
