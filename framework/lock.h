// Taking the library's mutexes: every lock is first tried, and a wait is
// announced to the platform's mutex-block aid around the blocking lock.
#pragma once

#include <cstdint>
#include <pthread.h>

#include <qsfp/qsfp_port.h>

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

// True when the calling thread holds the port through qsfp_check_and_lock_hdl.
bool owns_port(qsfp_port_ctx *port);

// For the life of the guard, releases of a port the calling thread holds are
// deferred: an operation that calls other slots mid-way (one of which
// releases the lock itself) keeps the port until its wrapper releases it.
class KeepPortHeld {
public:
    explicit KeepPortHeld(qsfp_port_ctx *port);
    ~KeepPortHeld();
    KeepPortHeld(const KeepPortHeld &) = delete;
    KeepPortHeld &operator=(const KeepPortHeld &) = delete;

private:
    qsfp_port_ctx *port_;
};

}  // namespace qsfp::framework
