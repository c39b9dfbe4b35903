#ifndef CSCANKIT_SG_MOUNTS_H
#define CSCANKIT_SG_MOUNTS_H

/*
 * Which mounted file systems a disk-usage walk (or a folder-size walk) must not enter. Kernel pseudo file systems
 * (proc, sysfs, devtmpfs, cgroup, ...) report sizes that are not disk usage (/proc/kcore
 * alone claims about 128 TiB) or can block, and autofs mount points would be triggered by
 * opening them. Their mount points are shown as empty folders; every other volume below a
 * scan's root is crossed.
 *
 * The table is read once from /proc/self/mountinfo; looking a mount up costs nothing per
 * file, because only a folder that is a mount root (STATX_ATTR_MOUNT_ROOT) on a device other
 * than the scan root's is ever looked up.
 */

#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct sg_mount {
    uint64_t mount_id;
    uint32_t dev_major;
    uint32_t dev_minor;
    uint8_t pseudo;
} sg_mount_t;

typedef struct sg_mount_table {
    sg_mount_t* mounts;
    size_t count;
} sg_mount_table_t;

/* Non-zero for the type names of file systems that are never entered. */
int sg_is_pseudo_fs_type(const char* type);

/* Reads /proc/self/mountinfo; 0 on success. The table is empty (and stays valid) on failure. */
int sg_mount_table_read(sg_mount_table_t* table);
void sg_mount_table_free(sg_mount_table_t* table);

enum { SG_MOUNT_UNKNOWN = -1, SG_MOUNT_CROSS = 0, SG_MOUNT_PSEUDO = 1 };

/* The verdict for the object `sx` describes (statx with STATX_MNT_ID where the kernel gives
   it, else matched by device). */
int sg_mount_table_verdict(const sg_mount_table_t* table, const struct statx* sx);

/* Whether `sx` lies on a pseudo file system. A mount the table doesn't know was mounted
   after it was read: the table is read again, at most `max_rereads` times over the life of
   `*rereads`. Still unknown means no mount of its own (a subvolume, say): not pseudo. */
int sg_mount_table_is_pseudo(sg_mount_table_t* table, const struct statx* sx, int* rereads, int max_rereads);

/* Whether `sx`, the attributes of a folder on a walk whose root lies on device
   `root_major:root_minor`, may be a mount point that needs a verdict. */
static inline int sg_may_be_foreign_mount(const struct statx* sx, uint32_t root_major, uint32_t root_minor)
{
    if (sx->stx_dev_major == root_major && sx->stx_dev_minor == root_minor) return 0;
    /* Without the mount-root attribute (kernels before 5.8) every folder of another device is checked. */
    return !(sx->stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) || (sx->stx_attributes & STATX_ATTR_MOUNT_ROOT);
}

#ifdef __cplusplus
}
#endif

#endif
