#pragma once

#include <sys/types.h>

struct dirent {
    ino_t d_ino;
    uint64_t d_seekoff;
    uint16_t d_reclen;
    uint16_t d_namlen;
    uint8_t d_type;
    char d_name[1024];
};

typedef struct _dirdesc DIR;

__BEGIN_DECLS
DIR* opendir(const char* path);
struct dirent* readdir(DIR* folder);
int closedir(DIR* folder);
__END_DECLS
