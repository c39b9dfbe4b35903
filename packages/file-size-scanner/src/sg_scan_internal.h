#ifndef CSCANKIT_SG_SCAN_INTERNAL_H
#define CSCANKIT_SG_SCAN_INTERNAL_H

/* Pieces of the walker that its tests and the benchmark reach directly. */

#include "CScanKit/sg_scan.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One name returned by a directory read; 280 bytes with padding. */
typedef struct sg_list_entry {
    char name[256];
    uint64_t allocated_size;
    uint64_t logical_size;
    uint8_t obj_type;
    uint8_t is_hidden;
    uint8_t is_package;
    uint8_t is_readable;
} sg_list_entry_t;

enum {
    SG_LIST_OK = 0,
    SG_LIST_TOO_SMALL = 1, /* more than `capacity` entries: list again with more room */
    SG_LIST_UNREADABLE = -1,
    SG_LIST_CANCELLED = -2,
};

enum { SG_INITIAL_LIST_CAPACITY = 4096, SG_INITIAL_NODE_CAPACITY = 65536 };

/* Reads one directory into `entries` (without "." and ".."). */
int32_t sg_list_directory(const char* path, sg_list_entry_t* entries, int32_t capacity, int32_t* out_count);

/* The two linear passes that finish a walk: sizes up to the root, then the children array. */
void sg_accumulate_sizes(sg_scan_result_t* result);
void sg_build_children(sg_scan_result_t* result);

/* Gives the memory of the records below `index` of a finished result back to the system; they
   read as zero afterwards. For a reader that consumes the records once, front to back, so that
   the records and what is built from them are never both held in full. */
void sg_discard_nodes_before(sg_scan_result_t* result, int32_t index);

#ifdef __cplusplus
}
#endif

#endif
