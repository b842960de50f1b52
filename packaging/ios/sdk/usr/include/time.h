#pragma once

#include <sys/types.h>

typedef unsigned long clock_t;

struct timespec {
    time_t tv_sec;
    long tv_nsec;
};

struct tm;
