#pragma once

#include <sys/cdefs.h>

__BEGIN_DECLS
int* __error(void);
__END_DECLS

#define errno (*__error())

#define EPERM 1
#define EINTR 4
#define EIO 5
#define EACCES 13
#define EBUSY 16
#define EEXIST 17
#define EXDEV 18
#define ENOTDIR 20
#define EISDIR 21
#define EINVAL 22
#define EROFS 30
#define EMLINK 31
#define ERANGE 34
#define ENOTSUP 45
#define ENAMETOOLONG 63
#define ENOSYS 78
#define ENODATA 96
