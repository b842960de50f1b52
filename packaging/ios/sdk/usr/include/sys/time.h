#pragma once

#include <sys/types.h>

struct timeval {
    time_t tv_sec;
    suseconds_t tv_usec;
};

__BEGIN_DECLS
int futimes(int file, const struct timeval times[2]);
int lutimes(const char* path, const struct timeval times[2]);
__END_DECLS
