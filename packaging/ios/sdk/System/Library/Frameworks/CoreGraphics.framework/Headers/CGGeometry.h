#pragma once

/* Read on Linux too, beside another Foundation, which has this type as well. */
#ifdef __APPLE__
#ifdef __LP64__
typedef double CGFloat;
#else
typedef float CGFloat;
#endif
#endif

typedef struct {
    CGFloat x, y;
} CGPoint;

typedef struct {
    CGFloat width, height;
} CGSize;

typedef struct {
    CGPoint origin;
    CGSize size;
} CGRect;
