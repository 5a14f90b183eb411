/*
 * What the reference platform offers beyond the services the library calls:
 * reading trace buffers back, creating and driving event managers, and the
 * mutex-block record. Tools and tests use these; the library never does.
 */
#ifndef QSFP_PLATFORM_REF_H
#define QSFP_PLATFORM_REF_H

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#include <qsfp/platform.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Trace buffers ------------------------------------------------------ */

/* The buffer opened under `name`, or null. */
ztrace_buffer *ztrace_ref_find(const char *name);
const char *ztrace_ref_name(const ztrace_buffer *buf);
/* Entries currently held (older ones were dropped when the ring was full). */
uint32_t ztrace_ref_entry_count(ztrace_buffer *buf);
uint64_t ztrace_ref_dropped(ztrace_buffer *buf);
/* 1 once the buffer was made visible to the show command. */
int ztrace_ref_is_shown(ztrace_buffer *buf);

typedef void (*ztrace_ref_visit_fn)(void *cookie, uint64_t sequence, uint32_t tracepoint, const char *signature,
                                    const char *text);
/* Visits the held entries, oldest first, under the buffer's lock. */
void ztrace_ref_for_each(ztrace_buffer *buf, ztrace_ref_visit_fn visit, void *cookie);
void ztrace_ref_clear(ztrace_buffer *buf);
/* Writes the entries as text, one per line; answers the number written. */
uint32_t ztrace_ref_dump(ztrace_buffer *buf, FILE *out);
/* Visits every open buffer in the order they were opened. */
void ztrace_ref_for_each_buffer(void (*visit)(void *cookie, ztrace_buffer *buf), void *cookie);

/* ---- Event managers and timers ------------------------------------------ */

enum { QSFP_REF_REAL_TIME = 0, QSFP_REF_VIRTUAL_TIME = 1 };

/*
 * An event manager handle as the library's creation record takes it. In real
 * time a thread of its own runs the attached timer handlers on the monotonic
 * clock; in virtual time nothing runs until the owner advances its clock.
 */
void *qsfp_ref_event_manager_new(int mode);
void qsfp_ref_event_manager_free(void *event_manager);

/* Virtual time: the current time, and moving it forward, running every
 * handler whose leaves fall due at or before `now_ns`. A call made from inside
 * a handler only moves the time; the outer dispatch picks up what fell due. */
uint64_t levm_ref_now_ns(levm *lv);
void levm_ref_advance_to(levm *lv, uint64_t now_ns);
/* Earliest deadline of a running leaf in the attached trees; 0 when none. */
int levm_ref_next_deadline_ns(levm *lv, uint64_t *deadline_ns);

/* Frees a tree with the leaves still on it and detaches it from its event
 * manager. The library never frees its tree; tools and tests free their own. */
void mgd_timer_ref_tree_free(mgd_timer *tree);
/* Absolute deadline of a running leaf on its tree's clock; 0 when stopped. */
uint64_t mgd_timer_ref_deadline_ns(const mgd_timer *leaf);
/* The current time on the clock of the tree that owns `timer`. */
uint64_t mgd_timer_ref_now_ns(const mgd_timer *timer);

/* ---- Mutex-block aid ------------------------------------------------------ */

typedef struct ptd_ref_block {
    pthread_t thread;
    pthread_mutex_t *mutex;
    const char *label;
    uint32_t number;
} ptd_ref_block;

/* Snapshot of the threads that announced a wait and have not finished it;
 * answers how many there are (entries beyond `max` are not copied). */
uint32_t ptd_ref_blocked(ptd_ref_block *out, uint32_t max);
/* Waits announced since the process started. */
uint64_t ptd_ref_announcements(void);

#ifdef __cplusplus
}
#endif

#endif /* QSFP_PLATFORM_REF_H */
