#pragma once

/* Read on Linux too, beside another Foundation, whose type is the same. */
#ifdef __LP64__
typedef double CGFloat;
#else
typedef float CGFloat;
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
