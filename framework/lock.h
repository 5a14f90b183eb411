// Taking the library's mutexes: every lock is first tried, and a wait is
// announced to the platform's mutex-block aid around the blocking lock.
#pragma once

#include <cstdint>
#include <pthread.h>

namespace qsfp::framework {

// Mutex-block labels and numbers, one per place that may block.
inline constexpr const char *kGlobalLockLabel = "qsfp_context_lock";
inline constexpr std::uint32_t kGlobalLockNumber = 100;
inline constexpr const char *kPortLockLabel = "qsfp_check_and_lock_hdl";
inline constexpr std::uint32_t kPortLockNumber = 163;
inline constexpr const char *kDeleteLockLabel = "qsfp_port_delete";
inline constexpr std::uint32_t kDeleteLockNumber = 733;

// trylock, then (when busy) the announced blocking lock; answers the pthread code.
int take_mutex(pthread_mutex_t *mutex, const char *label, std::uint32_t number);

// The global lock with its failure traces; answers the lock's code.
std::uint32_t lock_library();
// Releases the global lock; a failing unlock is traced and its code answered.
std::uint32_t unlock_library();
// Takes a port's mutex with the given label; failures are traced.
std::uint32_t lock_port_mutex(pthread_mutex_t *mutex, const char *label, std::uint32_t number);

}  // namespace qsfp::framework
