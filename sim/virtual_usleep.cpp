// Linked into test, benchmark and demo binaries only: the executable's usleep
// wins over the C library's, so the library's waits run on the virtual clock.
#include <cerrno>
#include <ctime>
#include <unistd.h>

#include <qsfp/sim/virtual_clock.h>

extern "C" int usleep(useconds_t us) {
    auto &clock = qsfp::sim::VirtualClock::instance();
    if (clock.real_time()) {
        timespec ts{static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
        while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
        }
        return 0;
    }
    clock.sleep_us(us);
    return 0;
}
