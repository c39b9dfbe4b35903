#ifndef CSCANKIT_SG_SCAN_H
#define CSCANKIT_SG_SCAN_H

/*
 * The parallel disk-usage walker. It leaves one flat array of fixed-size node
 * records (parents always before their children) plus one array of child
 * indices, so the whole tree is two allocations and every roll-up is a linear
 * pass. Plain C: no objects, no callbacks, nothing printed.
 *
 * Sizes follow what du counts for each object on its own: allocated is
 * st_blocks * 512 and logical is st_size, for every kind of object. After a
 * finished scan a directory's sizes include its whole subtree, held at INT64_MAX
 * rather than wrapping. Symbolic links are never followed; a package directory
 * is a leaf carrying only its own size. Hard links are not detected: each
 * directory entry counts. Other volumes below the root are crossed; pseudo file
 * systems (proc, sysfs, autofs, ...) are never entered, nor automounts triggered.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    SG_OBJ_FILE = 1,
    SG_OBJ_DIRECTORY = 2,
    SG_OBJ_SYMLINK = 3,
    SG_OBJ_OTHER = 4,
    SG_OBJ_PACKAGE = 5,
};

enum {
    SG_SCAN_DONE = 0,
    SG_SCAN_CANCELLED = 1,
    SG_SCAN_FAILED = -1,
};

/* 296 bytes with padding. */
typedef struct sg_flat_node {
    char name[256];          /* leaf name, NUL-terminated, cut at 255 bytes */
    int32_t parent_index;    /* -1 for the root, always index 0 */
    uint64_t allocated_size;
    uint64_t logical_size;
    int32_t child_count;     /* 0 until the scan finishes */
    int32_t first_child;     /* index into children; -1 until the scan finishes */
    uint8_t obj_type;        /* SG_OBJ_* */
    uint8_t is_hidden;
    uint8_t is_package;
    uint8_t is_readable;     /* owner-read bit of the mode */
} sg_flat_node_t;

/*
 * Allocated zero-filled by the caller and kept alive until sg_scan_result_free.
 * The counters move with relaxed atomic additions during a scan; read them
 * through the sg_get_* accessors.
 */
typedef struct sg_scan_result {
    sg_flat_node_t* nodes;
    int32_t* children;
    int32_t node_count;
    int32_t node_capacity;
    int32_t children_count;
    int32_t _items_scanned;
    int32_t _dirs_scanned;
    int32_t _files_scanned;
    int32_t _unreadable_count;
    void* _scan_mutex; /* guards nodes and node_count while the walk runs */
} sg_scan_result_t;

/*
 * Blocking walk of the directory at `path`. Returns SG_SCAN_DONE,
 * SG_SCAN_CANCELLED (nodes and children are already freed) or SG_SCAN_FAILED
 * (root missing, not a directory, or out of memory). `cancel_flag` must stay
 * valid for the whole call. Uses one worker per online processor.
 */
int32_t sg_full_scan(const char* path, sg_scan_result_t* result, int32_t* cancel_flag);

/* The same with an explicit number of workers; 0 means one per online processor. */
int32_t sg_full_scan_with_threads(const char* path, sg_scan_result_t* result, int32_t* cancel_flag,
                                  int32_t thread_count);

/* Asks a running scan to stop; any thread may call it. */
void sg_request_cancel(int32_t* cancel_flag);

int32_t sg_get_items_scanned(const sg_scan_result_t* result);
int32_t sg_get_dirs_scanned(const sg_scan_result_t* result);
int32_t sg_get_files_scanned(const sg_scan_result_t* result);
int32_t sg_get_unreadable_count(const sg_scan_result_t* result);
/* Bytes allocated to the names listed so far (each name counted, as in the nodes); 0 before
   a walk has started. */
uint64_t sg_get_allocated_scanned(const sg_scan_result_t* result);

/*
 * Copies up to `max_nodes` nodes of a running (or finished) scan into `buffer`
 * and rolls their sizes and child counts up on the copy; `first_child` stays
 * -1. Returns how many nodes were copied. Safe from another thread while the
 * walk runs; holds the walker's lock only for the copy.
 */
int32_t sg_snapshot_nodes(sg_scan_result_t* result, sg_flat_node_t* buffer, int32_t max_nodes);

/* Frees everything the scan allocated. The counters keep their values. Idempotent. */
void sg_scan_result_free(sg_scan_result_t* result);

/* Non-zero where the name ends, ignoring case, in one of the package suffixes. */
int sg_is_package_name(const char* name);

#ifdef __cplusplus
}
#endif

#endif
