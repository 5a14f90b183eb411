// The CDB debug log: one record per message appended to /tmp/cdb_cmd.debug,
// the time of day first. The date text of ctime_r ends in its own newline,
// so a record is a date line and then a line of one space and the message.
#include <sys/time.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include <qsfp/qsfp_cmis.h>

namespace {

constexpr const char *kLogPath = "/tmp/cdb_cmd.debug";
constexpr std::size_t kMessageRoom = 512;  // at most 511 characters
constexpr std::size_t kDateRoom = 26;      // what ctime_r writes at most

}  // namespace

extern "C" __attribute__((weak)) void qsfp_dd_cdb_cmd_debug_log_file(const char *format, ...) {
    if (format == nullptr) {
        return;
    }
    char message[kMessageRoom];
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    timeval now{};
    gettimeofday(&now, nullptr);
    char date[kDateRoom + 6] = {};
    const std::time_t seconds = now.tv_sec;
    if (ctime_r(&seconds, date) == nullptr) {
        date[0] = '\0';
    }
    std::FILE *log = std::fopen(kLogPath, "a+");
    if (log == nullptr) {
        return;
    }
    std::fprintf(log, "usec-%lu:%s %s", static_cast<unsigned long>(now.tv_usec), date, message);
    std::fflush(log);
    std::fclose(log);
}
