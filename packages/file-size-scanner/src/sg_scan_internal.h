#ifndef CSCANKIT_SG_SCAN_INTERNAL_H
#define CSCANKIT_SG_SCAN_INTERNAL_H

/* Pieces of the walker that its tests and the benchmark reach directly. */

#include "CScanKit/sg_scan.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One name returned by a directory read, with what its statx gave. */
typedef struct sg_list_entry {
    const char* name;        /* whole name, NUL-terminated; valid until the lister reads again */
    uint64_t allocated_size;
    uint64_t logical_size;
    uint32_t name_length;
    uint32_t name_offset;    /* where `name` went in the lister's name buffer while reading */
    uint8_t obj_type;
    uint8_t is_hidden;
    uint8_t is_package;
    uint8_t is_readable;
} sg_list_entry_t;

enum {
    SG_LIST_OK = 0,
    SG_LIST_UNREADABLE = -1,
    SG_LIST_CANCELLED = -2,
};

enum { SG_INITIAL_LIST_CAPACITY = 4096, SG_INITIAL_NODE_CAPACITY = 65536 };

/* The mount checks of one walk (see sg_mounts.h); NULL lists without them. */
struct sg_mount_check;

/* A worker's listing buffers, reused folder after folder. Names stay where the directory
   read put them unless a folder needs more than one read; then they move to `names`. A
   folder larger than the initial capacity grows the buffers; the next folder starts by giving
   that memory back, so one huge folder does not pin it for the rest of the walk. */
typedef struct sg_lister {
    char* dents;
    sg_list_entry_t* entries;
    int32_t capacity;
    char* names;
    size_t names_length;
    size_t names_capacity;
} sg_lister_t;

int sg_lister_init(sg_lister_t* lister);
void sg_lister_free(sg_lister_t* lister);
/* Reads the open folder `fd` (without "." and ".."): one statx per name, by its whole name,
   even where that is longer than a node keeps. */
int32_t sg_lister_read(sg_lister_t* lister, int fd, struct sg_mount_check* mounts, const int32_t* cancel_flag,
                       int32_t* out_count);

/* Opens the folder `relative` below the open folder `dir_fd` without following symbolic links.
   A path longer than the kernel takes at once is resolved in pieces cut at "/", so depth never
   makes a folder unreachable. */
int sg_open_below(int dir_fd, const char* relative);

/* The two passes that finish a walk: sizes up to the root, then the child links. Both rely on
   what the walker guarantees: parents precede children, and a folder's children are one
   contiguous run of indices. */
void sg_accumulate_sizes(sg_scan_result_t* result);
void sg_build_children(sg_scan_result_t* result);

/* Gives the memory of the records below `index` of a finished result back to the system; they
   read as zero afterwards. For a reader that consumes the records once, front to back, so that
   the records and what is built from them are never both held in full. */
void sg_discard_nodes_before(sg_scan_result_t* result, int32_t index);

/* a + b for sizes, held at the signed 64-bit maximum instead of wrapping. */
static inline uint64_t sg_size_add(uint64_t a, uint64_t b)
{
    const uint64_t limit = (uint64_t)INT64_MAX, sum = a + b;
    return sum > limit || sum < a ? limit : sum;
}

#ifdef __cplusplus
}
#endif

#endif
