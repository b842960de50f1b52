#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>

/* libc++ overloads the division functions. */
typedef struct {
    int quot, rem;
} div_t;
typedef struct {
    long quot, rem;
} ldiv_t;
typedef struct {
    long long quot, rem;
} lldiv_t;

__BEGIN_DECLS
div_t div(int, int);
ldiv_t ldiv(long, long);
lldiv_t lldiv(long long, long long);

void free(void* memory);
void abort(void) __attribute__((noreturn));
void exit(int status) __attribute__((noreturn));
void arc4random_buf(void* bytes, size_t count);
/* The plain name takes no null for `resolved`. */
char* realpath(const char* path, char* resolved) __asm("_realpath$DARWIN_EXTSN");
__END_DECLS
