#ifndef CSCANKIT_SG_SCAN_INTERNAL_H
#define CSCANKIT_SG_SCAN_INTERNAL_H

/* Pieces of the walker that its tests and the benchmark reach directly. */

#include "CScanKit/sg_scan.h"

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One name returned by a directory read; 280 bytes with padding. */
typedef struct sg_list_entry {
    char name[256];          /* cut at 255 bytes, as stored in a node */
    uint64_t allocated_size;
    uint64_t logical_size;
    uint8_t obj_type;
    uint8_t is_hidden;
    uint8_t is_package;
    uint8_t is_readable;
    uint32_t long_name;      /* 0, or 1 + offset of the whole name in the lister's long-name buffer */
} sg_list_entry_t;

enum {
    SG_LIST_OK = 0,
    SG_LIST_TOO_SMALL = 1, /* more than `capacity` entries: list again with more room */
    SG_LIST_UNREADABLE = -1,
    SG_LIST_CANCELLED = -2,
};

enum { SG_INITIAL_LIST_CAPACITY = 4096, SG_INITIAL_NODE_CAPACITY = 65536 };

/* The mount checks of one walk (see sg_mounts.h); NULL lists without them. */
struct sg_mount_check;

/* A worker's listing buffers, reused folder after folder. A folder larger than the initial
   capacity grows them; the next folder starts by giving that memory back, so one huge folder
   does not pin it for the rest of the walk. */
typedef struct sg_lister {
    char* dents;
    sg_list_entry_t* entries;
    int32_t capacity;
    int32_t growable;       /* 0: `entries` belongs to the caller and a full buffer ends the listing */
    char* long_names;       /* whole names longer than 255 bytes, NUL-terminated, back to back */
    size_t long_names_length;
    size_t long_names_capacity;
} sg_lister_t;

int sg_lister_init(sg_lister_t* lister);
void sg_lister_free(sg_lister_t* lister);
/* Reads the open folder `fd` (without "." and ".."): one statx per name, by its whole name. */
int32_t sg_lister_read(sg_lister_t* lister, int fd, struct sg_mount_check* mounts, const int32_t* cancel_flag,
                       int32_t* out_count);
/* The whole name of an entry read by `lister`. */
const char* sg_lister_name(const sg_lister_t* lister, const sg_list_entry_t* entry);

/* Opens the folder `relative` below the open folder `dir_fd` without following symbolic links.
   A path longer than the kernel takes at once is resolved in pieces cut at "/", so depth never
   makes a folder unreachable. */
int sg_open_below(int dir_fd, const char* relative);

/* Reads one directory into `entries` (without "." and ".."). */
int32_t sg_list_directory(const char* path, sg_list_entry_t* entries, int32_t capacity, int32_t* out_count);

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
