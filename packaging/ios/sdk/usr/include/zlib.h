#pragma once

#include <sys/cdefs.h>

#define ZLIB_VERSION "1.2.5"

#ifdef ZLIB_CONST
#define z_const const
#else
#define z_const
#endif

typedef unsigned char Bytef;
typedef unsigned int uInt;
typedef unsigned long uLong;
typedef uLong uLongf;

typedef struct {
    z_const Bytef* next_in;
    uInt avail_in;
    uLong total_in;
    Bytef* next_out;
    uInt avail_out;
    uLong total_out;
    const char* msg;
    struct internal_state* state;
    void* (*zalloc)(void* opaque, uInt count, uInt size);
    void (*zfree)(void* opaque, void* memory);
    void* opaque;
    int data_type;
    uLong adler;
    uLong reserved;
} z_stream;

#define Z_SYNC_FLUSH 2
#define Z_FINISH 4

#define Z_OK 0
#define Z_STREAM_END 1
#define Z_DATA_ERROR (-3)
#define Z_MEM_ERROR (-4)
#define Z_BUF_ERROR (-5)

#define Z_BEST_SPEED 1

__BEGIN_DECLS
int deflateInit_(z_stream* stream, int level, const char* version, int size);
int deflate(z_stream* stream, int flush);
int deflateEnd(z_stream* stream);
int inflateInit_(z_stream* stream, const char* version, int size);
int inflate(z_stream* stream, int flush);
int inflateEnd(z_stream* stream);
int compress(Bytef* target, uLongf* targetLength, const Bytef* source, uLong sourceLength);
int uncompress(Bytef* target, uLongf* targetLength, const Bytef* source, uLong sourceLength);
__END_DECLS
