#pragma once

#include <sys/types.h>

typedef struct __sFILE FILE;

#define EOF (-1)
#define stderr __stderrp

__BEGIN_DECLS
extern FILE* __stderrp;
int fprintf(FILE* file, const char* format, ...) __attribute__((format(printf, 2, 3)));
size_t fwrite(const void* bytes, size_t size, size_t count, FILE* file);
int remove(const char* path);
int rename(const char* from, const char* to);
int snprintf(char* text, size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));
__END_DECLS
