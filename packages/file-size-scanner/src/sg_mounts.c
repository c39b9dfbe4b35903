#define _GNU_SOURCE
#include "CScanKit/sg_mounts.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char* const pseudo_types[] = {
    "proc", "sysfs", "devtmpfs", "devpts", "cgroup", "cgroup2", "securityfs", "debugfs", "tracefs", "pstore",
    "bpf", "configfs", "fusectl", "mqueue", "hugetlbfs", "binfmt_misc", "efivarfs", "nsfs", "rpc_pipefs", "autofs",
};

int sg_is_pseudo_fs_type(const char* type)
{
    if (!type) return 0;
    for (size_t i = 0; i < sizeof pseudo_types / sizeof pseudo_types[0]; i++)
        if (strcmp(type, pseudo_types[i]) == 0) return 1;
    return 0;
}

static char* read_whole_file(const char* path)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return NULL;
    size_t length = 0, capacity = 16384;
    char* text = malloc(capacity + 1);
    for (ssize_t got; text; length += (size_t)got) {
        if (length == capacity) {
            char* grown = realloc(text, capacity * 2 + 1);
            if (!grown) {
                free(text);
                text = NULL;
                break;
            }
            text = grown;
            capacity *= 2;
        }
        got = read(fd, text + length, capacity - length);
        if (got <= 0) break;
    }
    close(fd);
    if (text) text[length] = '\0';
    return text;
}

/* One mountinfo line: "ID PARENT MAJOR:MINOR ROOT POINT OPTIONS [OPTIONAL...] - TYPE SOURCE ...". */
static int parse_line(char* line, sg_mount_t* mount)
{
    unsigned long long id = 0, parent = 0;
    unsigned major = 0, minor = 0;
    if (sscanf(line, "%llu %llu %u:%u", &id, &parent, &major, &minor) != 4) return -1;
    char* separator = strstr(line, " - ");
    if (!separator) return -1;
    char* type = separator + 3;
    char* end = strchr(type, ' ');
    if (end) *end = '\0';
    mount->mount_id = id;
    mount->dev_major = major;
    mount->dev_minor = minor;
    mount->pseudo = (uint8_t)sg_is_pseudo_fs_type(type);
    return 0;
}

int sg_mount_table_read(sg_mount_table_t* table)
{
    table->mounts = NULL;
    table->count = 0;
    char* text = read_whole_file("/proc/self/mountinfo");
    if (!text) return -1;
    size_t lines = 1;
    for (const char* c = text; *c; c++) lines += *c == '\n';
    table->mounts = calloc(lines, sizeof *table->mounts);
    if (!table->mounts) {
        free(text);
        return -1;
    }
    for (char *line = text, *next; line && *line; line = next) {
        next = strchr(line, '\n');
        if (next) *next++ = '\0';
        if (parse_line(line, &table->mounts[table->count]) == 0) table->count++;
    }
    free(text);
    return 0;
}

void sg_mount_table_free(sg_mount_table_t* table)
{
    free(table->mounts);
    table->mounts = NULL;
    table->count = 0;
}

int sg_mount_table_verdict(const sg_mount_table_t* table, const struct statx* sx)
{
    const int by_id = (sx->stx_mask & STATX_MNT_ID) != 0;
    for (size_t i = 0; i < table->count; i++) {
        const sg_mount_t* mount = &table->mounts[i];
        if (by_id ? mount->mount_id == sx->stx_mnt_id
                  : mount->dev_major == sx->stx_dev_major && mount->dev_minor == sx->stx_dev_minor)
            return mount->pseudo ? SG_MOUNT_PSEUDO : SG_MOUNT_CROSS;
    }
    return SG_MOUNT_UNKNOWN;
}

int sg_mount_table_is_pseudo(sg_mount_table_t* table, const struct statx* sx, int* rereads, int max_rereads)
{
    int verdict = sg_mount_table_verdict(table, sx);
    while (verdict == SG_MOUNT_UNKNOWN && *rereads < max_rereads) {
        ++*rereads;
        sg_mount_table_t fresh;
        if (sg_mount_table_read(&fresh) != 0) break;
        sg_mount_table_free(table);
        *table = fresh;
        verdict = sg_mount_table_verdict(table, sx);
    }
    return verdict == SG_MOUNT_PSEUDO;
}
