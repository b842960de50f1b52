#pragma once

/* Read on Linux too, beside another Foundation. */
#include <stdint.h>

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef struct dispatch_source_s* dispatch_source_t;
typedef const struct dispatch_source_type_s* dispatch_source_type_t;
typedef uint64_t dispatch_time_t;
typedef void (^dispatch_block_t)(void);

#define DISPATCH_TIME_NOW 0ull
#define NSEC_PER_SEC 1000000000ull
#define DISPATCH_QUEUE_PRIORITY_DEFAULT 0
#define DISPATCH_VNODE_WRITE 0x2

#ifdef __cplusplus
extern "C" {
#endif

extern struct dispatch_queue_s _dispatch_main_q;
extern const struct dispatch_source_type_s _dispatch_source_type_vnode;
#define dispatch_get_main_queue() (&_dispatch_main_q)
#define DISPATCH_SOURCE_TYPE_VNODE (&_dispatch_source_type_vnode)

dispatch_queue_t dispatch_get_global_queue(long priority, unsigned long flags);
dispatch_queue_t dispatch_get_current_queue(void);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);
dispatch_time_t dispatch_time(dispatch_time_t base, int64_t nanoseconds);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, unsigned long mask,
                                         dispatch_queue_t queue);
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t block);
void dispatch_source_set_cancel_handler(dispatch_source_t source, dispatch_block_t block);
void dispatch_source_cancel(dispatch_source_t source);
/* Queues and sources alike. */
void dispatch_resume(void* object);
void dispatch_release(void* object);

#ifdef __cplusplus
}
#endif
