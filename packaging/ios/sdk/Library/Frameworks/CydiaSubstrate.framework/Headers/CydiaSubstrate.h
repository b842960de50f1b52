#pragma once

/* Read on Linux too, beside another object runtime. */
#include <objc/objc.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Puts `replacement` in the place of the method; `*previous` becomes what stood there. */
void MSHookMessageEx(Class owner, SEL selector, IMP replacement, IMP* previous);

#ifdef __cplusplus
}
#endif
