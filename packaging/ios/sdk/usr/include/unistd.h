#pragma once

#include <sys/types.h>

#define X_OK 1
#define W_OK 2

__BEGIN_DECLS
int access(const char* path, int mode);
int close(int file);
int fchown(int file, uid_t owner, gid_t group);
int fsync(int file);
int ftruncate(int file, off_t length);
pid_t getpid(void);
int lchown(const char* path, uid_t owner, gid_t group);
int link(const char* from, const char* to);
ssize_t pread(int file, void* bytes, size_t count, off_t at);
ssize_t pwrite(int file, const void* bytes, size_t count, off_t at);
ssize_t read(int file, void* bytes, size_t count);
ssize_t readlink(const char* path, char* target, size_t size);
int rmdir(const char* path);
int symlink(const char* target, const char* path);
int unlink(const char* path);
ssize_t write(int file, const void* bytes, size_t count);
__END_DECLS
