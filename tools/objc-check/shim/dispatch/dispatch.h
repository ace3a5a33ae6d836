// Subset of libdispatch (macOS SDK shapes: dispatch objects are ObjC objects, as with
// OS_OBJECT_USE_OBJC=1, so ARC rules match macOS). Debian 12 ships no libdispatch headers.
#ifndef MACCOMPAT_DISPATCH_H
#define MACCOMPAT_DISPATCH_H
#include <stdint.h>
#include <stdbool.h>
#include <time.h>
#include <unistd.h>
#import <Foundation/NSObject.h>
#include "../ShimOnly.h"

#ifdef __cplusplus
extern "C" {
#endif

// <sys/qos.h>
typedef enum : unsigned int {
    QOS_CLASS_USER_INTERACTIVE = 0x21,
    QOS_CLASS_USER_INITIATED = 0x19,
    QOS_CLASS_DEFAULT = 0x15,
    QOS_CLASS_UTILITY = 0x11,
    QOS_CLASS_BACKGROUND = 0x09,
    QOS_CLASS_UNSPECIFIED = 0x00,
} qos_class_t;

@protocol OS_dispatch_object <NSObject> @end
@protocol OS_dispatch_queue <OS_dispatch_object> @end
@protocol OS_dispatch_source <OS_dispatch_object> @end
@protocol OS_dispatch_group <OS_dispatch_object> @end
typedef NSObject<OS_dispatch_object> *dispatch_object_t;
typedef NSObject<OS_dispatch_queue> *dispatch_queue_t;
typedef NSObject<OS_dispatch_source> *dispatch_source_t;
typedef NSObject<OS_dispatch_group> *dispatch_group_t;
typedef dispatch_queue_t dispatch_queue_main_t;
typedef dispatch_queue_t dispatch_queue_global_t;
typedef struct dispatch_queue_attr_s *dispatch_queue_attr_t;
typedef void (^dispatch_block_t)(void);
typedef uint64_t dispatch_time_t;
typedef intptr_t dispatch_once_t;
typedef const struct dispatch_source_type_s *dispatch_source_type_t;

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define NSEC_PER_SEC 1000000000ull
#define NSEC_PER_MSEC 1000000ull
#define USEC_PER_SEC 1000000ull
#define NSEC_PER_USEC 1000ull
#define DISPATCH_QUEUE_SERIAL NULL
#define DISPATCH_QUEUE_PRIORITY_HIGH 2
#define DISPATCH_QUEUE_PRIORITY_DEFAULT 0
#define DISPATCH_QUEUE_PRIORITY_LOW (-2)
#define DISPATCH_QUEUE_PRIORITY_BACKGROUND INT16_MIN

extern const struct dispatch_source_type_s _dispatch_source_type_vnode, _dispatch_source_type_timer,
    _dispatch_source_type_read, _dispatch_source_type_signal, _dispatch_source_type_proc;
#define DISPATCH_SOURCE_TYPE_VNODE (&_dispatch_source_type_vnode)
#define DISPATCH_SOURCE_TYPE_TIMER (&_dispatch_source_type_timer)
#define DISPATCH_SOURCE_TYPE_READ (&_dispatch_source_type_read)
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)
#define DISPATCH_SOURCE_TYPE_PROC (&_dispatch_source_type_proc)
#define DISPATCH_VNODE_DELETE 0x1
#define DISPATCH_VNODE_WRITE 0x2
#define DISPATCH_VNODE_EXTEND 0x4
#define DISPATCH_VNODE_ATTRIB 0x8
#define DISPATCH_VNODE_LINK 0x10
#define DISPATCH_VNODE_RENAME 0x20
#define DISPATCH_VNODE_REVOKE 0x40
#define DISPATCH_VNODE_FUNLOCK 0x100

dispatch_queue_main_t dispatch_get_main_queue(void) SHIM_ONLY;
dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags) SHIM_ONLY;
dispatch_queue_t dispatch_queue_create(const char *_Nullable label, dispatch_queue_attr_t _Nullable attr) SHIM_ONLY;
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) SHIM_ONLY;
void dispatch_sync(dispatch_queue_t queue, __attribute__((noescape)) dispatch_block_t block) SHIM_ONLY;
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) SHIM_ONLY;
void dispatch_once(dispatch_once_t *predicate, __attribute__((noescape)) dispatch_block_t block) SHIM_ONLY;
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) SHIM_ONLY;
dispatch_group_t dispatch_group_create(void) SHIM_ONLY;
void dispatch_group_async(dispatch_group_t group, dispatch_queue_t queue, dispatch_block_t block) SHIM_ONLY;
void dispatch_group_enter(dispatch_group_t group) SHIM_ONLY;
void dispatch_group_leave(dispatch_group_t group) SHIM_ONLY;
intptr_t dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout) SHIM_ONLY;
void dispatch_group_notify(dispatch_group_t group, dispatch_queue_t queue, dispatch_block_t block) SHIM_ONLY;
dispatch_source_t dispatch_source_create(dispatch_source_type_t type, uintptr_t handle, uintptr_t mask,
                                         dispatch_queue_t _Nullable queue) SHIM_ONLY;
void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t _Nullable handler) SHIM_ONLY;
void dispatch_source_set_cancel_handler(dispatch_source_t source, dispatch_block_t _Nullable handler) SHIM_ONLY;
void dispatch_source_set_timer(dispatch_source_t source, dispatch_time_t start, uint64_t interval, uint64_t leeway) SHIM_ONLY;
void dispatch_source_cancel(dispatch_source_t source) SHIM_ONLY;
long dispatch_source_testcancel(dispatch_source_t source) SHIM_ONLY;
uintptr_t dispatch_source_get_handle(dispatch_source_t source) SHIM_ONLY;
uintptr_t dispatch_source_get_mask(dispatch_source_t source) SHIM_ONLY;
uintptr_t dispatch_source_get_data(dispatch_source_t source) SHIM_ONLY;
void dispatch_resume(dispatch_object_t object) SHIM_ONLY;
void dispatch_suspend(dispatch_object_t object) SHIM_ONLY;
void dispatch_activate(dispatch_object_t object) SHIM_ONLY;

#ifdef __cplusplus
}
#endif
#endif
