#pragma once

#include <sys/types.h>

#define O_RDONLY 0x0000
#define O_WRONLY 0x0001
#define O_RDWR 0x0002
#define O_NONBLOCK 0x0004
#define O_NOFOLLOW 0x0100
#define O_CREAT 0x0200
#define O_EXCL 0x0800
#define O_EVTONLY 0x8000
#define O_NOCTTY 0x20000
#define O_DIRECTORY 0x100000
#define O_CLOEXEC 0x1000000

__BEGIN_DECLS
int open(const char* path, int flags, ...);
__END_DECLS
