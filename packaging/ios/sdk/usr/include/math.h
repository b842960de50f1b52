#pragma once

/* What libc++ itself asks for; it calls the compiler's own functions. */
#define FP_NAN 1
#define FP_INFINITE 2
#define FP_ZERO 3
#define FP_NORMAL 4
#define FP_SUBNORMAL 5
