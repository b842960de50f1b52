#pragma once

#include <stdint.h>
#include <sys/cdefs.h>

typedef uint32_t CC_LONG;

typedef struct {
    CC_LONG A, B, C, D;
    CC_LONG Nl, Nh;
    CC_LONG data[16];
    int num;
} CC_MD5_CTX;

__BEGIN_DECLS
int CC_MD5_Init(CC_MD5_CTX* context);
int CC_MD5_Update(CC_MD5_CTX* context, const void* bytes, CC_LONG count);
int CC_MD5_Final(unsigned char* digest, CC_MD5_CTX* context);
__END_DECLS
