// A caller's port mutex of a chosen kind (PTHREAD_MUTEX_NORMAL,
// PTHREAD_MUTEX_ERRORCHECK, ...), as a port manager would hand it over.
#pragma once

#include <pthread.h>

namespace qsfp::test {

inline pthread_mutex_t make_mutex(int kind) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, kind);
    pthread_mutex_t mu;
    pthread_mutex_init(&mu, &attr);
    pthread_mutexattr_destroy(&attr);
    return mu;
}

}  // namespace qsfp::test
