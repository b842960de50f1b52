#pragma once

#include <stddef.h>
#include <sys/cdefs.h>

__BEGIN_DECLS
void* memchr(const void* bytes, int byte, size_t count);
int memcmp(const void* a, const void* b, size_t count);
void* memcpy(void* to, const void* from, size_t count);
void* memmove(void* to, const void* from, size_t count);
void* memset(void* bytes, int byte, size_t count);
char* strerror(int error);
size_t strlen(const char* text);
__END_DECLS
