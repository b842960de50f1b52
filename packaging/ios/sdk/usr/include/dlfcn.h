#pragma once

#include <sys/cdefs.h>

#define RTLD_LAZY 1
#define RTLD_DEFAULT ((void*)-2)

__BEGIN_DECLS
void* dlopen(const char* path, int mode);
void* dlsym(void* image, const char* name);
__END_DECLS
