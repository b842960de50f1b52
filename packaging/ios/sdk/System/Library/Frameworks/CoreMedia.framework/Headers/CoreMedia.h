#pragma once

/* Read on Linux too, beside another Foundation. */
#include <stdint.h>

typedef struct {
    int64_t value;
    int32_t timescale;
    uint32_t flags;
    int64_t epoch;
} CMTime;

#ifdef __cplusplus
extern "C" {
#endif

/* Not a number for a time that is none. */
double CMTimeGetSeconds(CMTime time);

#ifdef __cplusplus
}
#endif
