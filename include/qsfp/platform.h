/*
 * The platform services the library calls, and nothing else of the platform:
 * trace ring buffers, the managed timer tree, the light event manager and the
 * mutex-block aid. A device links the library with its own implementation of
 * these; libqsfp_platform is the reference one.
 */
#ifndef QSFP_PLATFORM_H
#define QSFP_PLATFORM_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ztrace_buffer ztrace_buffer;      /* opaque */
int  ztrace_open_internal(ztrace_buffer **out, const char *name, uint32_t size,
                          uint32_t options, const char *dir, const char *catalog_id,
                          uint32_t flags);                         /* 0 = success */
int  ztrace_enable_configuration(ztrace_buffer *buf, void *levm);  /* 0 = success */
void ztrace_internal(ztrace_buffer *buf, uint32_t tracepoint, const char *signature,
                     const char *format, ...) __attribute__((format(printf, 4, 5)));

typedef struct mgd_timer mgd_timer;              /* a tree or a leaf, opaque */
mgd_timer *mgd_timer_tree_new(void);
mgd_timer *mgd_timer_leaf_new(mgd_timer *parent, uint32_t flags, uint32_t type, void *context);
void       mgd_timer_leaf_start(mgd_timer *leaf, uint32_t seconds, uint32_t nanoseconds);
void       mgd_timer_leaf_stop(mgd_timer *leaf);
int        mgd_timer_leaf_running(const mgd_timer *leaf);
void       mgd_timer_leaf_free(mgd_timer *leaf);
mgd_timer *mgd_timer_tree_first_expired(mgd_timer *tree);
void      *mgd_timer_leaf_get_context(const mgd_timer *leaf);
uint32_t   mgd_timer_leaf_get_type(const mgd_timer *leaf);

typedef struct levm levm;                        /* opaque */
levm *event_manager_levm_get(void *event_manager);
int   levm_attach_tree_timer(levm *lv, mgd_timer *tree,
                             void (*handler)(mgd_timer *tree), void *cookie);

void ptd_set_mutex_block(pthread_mutex_t *mutex, const char *label, uint32_t number);
void ptd_unset_mutex_block(void);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_PLATFORM_H */
