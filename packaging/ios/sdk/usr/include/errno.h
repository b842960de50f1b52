#pragma once

#include <sys/cdefs.h>

__BEGIN_DECLS
int* __error(void);
__END_DECLS

#define errno (*__error())

#define EPERM 1
#define ENOENT 2
#define EINTR 4
#define EIO 5
#define ENOMEM 12
#define EACCES 13
#define EBUSY 16
#define EEXIST 17
#define EXDEV 18
#define ENOTDIR 20
#define EISDIR 21
#define EINVAL 22
#define ENOSPC 28
#define EROFS 30
#define EMLINK 31
#define EDOM 33
#define ERANGE 34
#define EAGAIN 35
#define ENOTSUP 45
#define ETIMEDOUT 60
#define ELOOP 62
#define ENAMETOOLONG 63
#define ENOSYS 78
#define EOVERFLOW 84
#define EILSEQ 92
#define ENODATA 96
