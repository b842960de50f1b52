#pragma once

typedef union {
    char __mbstate8[128];
    long long _mbstateL;
} mbstate_t;
