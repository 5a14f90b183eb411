#include "decode/show_text.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

extern "C" {
#include <safe_str_lib.h>
}

#include "decode/page_dump.h"

namespace qsfp::decode {

namespace {

constexpr std::size_t kLineScratchSize = 1001;
constexpr int kLineLimit = 1000;
constexpr std::size_t kLastTextByte = kWorkTextCapacity - 1;

constexpr ThresholdLine kModuleThresholds[] = {{"Temperature", 0}, {"Voltage", 4}};
constexpr ThresholdLine kLaneThresholds[] = {{"Bias", 12}, {"Transmit Power", 16}, {"Receive Power", 8}};

}  // namespace

Zeroed zeroed(std::size_t bytes) {
    return Zeroed(static_cast<char *>(std::calloc(1, bytes)));
}

ShowText::ShowText(char *work, std::uint32_t size, const char *name)
    : work_(work), used_(strnlen(work, kWorkTextCapacity)),
      remaining_(size > INT_MAX ? INT_MAX : static_cast<int>(size)), name_(name) {}

void ShowText::line(const char *format, ...) {
    va_list args;
    va_start(args, format);
    append(format, args);
    va_end(args);
}

void ShowText::line_if(bool show, const char *format, ...) {
    if (!show) {
        return;
    }
    va_list args;
    va_start(args, format);
    append(format, args);
    va_end(args);
}

void ShowText::append(const char *format, va_list args) {
    if (status_ != 0) {
        return;
    }
    ++lines_;
    Zeroed scratch = zeroed(kLineScratchSize);
    int length = 0;
    if (scratch) {
        length = std::vsnprintf(scratch.get(), kLineLimit, format, args);
        length = length < 0 ? 0 : (length >= kLineLimit ? kLineLimit - 1 : length);
    }
    if (remaining_ <= length) {
        std::fprintf(stderr, " line %d  in FUN %s _size %d __SIZZE__ %d \n", lines_, name_, length, remaining_);
        status_ = QSFP_SHOW_TEXT_OVERFLOW;
        return;
    }
    remaining_ -= length;
    if (!scratch) {
        return;
    }
    // A caller size above 9000 lets the work text reach its capacity; the
    // bounded concatenation then refuses the line and empties the text, and
    // the build goes on from there. The concatenation starts at the known
    // end of the text and is bounded by the line itself where the room
    // allows, so a long text costs neither a rescan nor a clearing of the
    // free room per line.
    const std::size_t room = kWorkTextCapacity - used_;
    const std::size_t needed = strnlen(scratch.get(), kLineLimit) + 1;
    const errno_t rc = strncat_s(work_ + used_, needed < room ? needed : room, scratch.get(), kLineLimit);
    if (rc != 0) {
        work_[0] = '\0';
        used_ = 0;
        std::fprintf(stderr, "SIZE%d size%d nrc%d \n", remaining_, length, static_cast<int>(rc));
        return;
    }
    used_ += strnlen(work_ + used_, kWorkTextCapacity - used_);
}

void ShowText::dump(const std::uint8_t *bytes, std::uint32_t address) {
    if (status_ != 0) {
        return;
    }
    char area[kDumpAreaSize];
    const std::uint32_t rc = dump_page(bytes, address, area, kDumpAreaSize, kPageBytes);
    if (rc != QSFP_OK) {
        status_ = static_cast<int>(rc);
        return;
    }
    line("%s", area);
}

void ShowText::dump_section(const char *heading, const std::uint8_t *pages, std::uint32_t offset) {
    line("%s", heading);
    dump(pages + offset, offset);
}

void ShowText::copy_to(char *out, std::uint32_t size) const {
    work_[kLastTextByte] = '\0';
    const std::size_t bytes = std::strlen(work_) + 1;
    std::memcpy(out, work_, bytes < size ? bytes : size);
    out[(bytes < size ? bytes : size) - 1] = '\0';
}

bool shown(const char *value) {
    return std::strncmp(value, "Undefined", 1) != 0;
}

void threshold_header(ShowText &text) {
    text.line("\n\tThresholds:                   Alarm High          Warning High          Warning Low          Alarm "
              "Low");
}

void threshold_rows(ShowText &text, const Row *thresholds, std::span<const ThresholdLine> lines) {
    for (const ThresholdLine &l : lines) {
        const Row *r = thresholds + l.high_alarm_row;
        // Record order: high alarm, low alarm, high warning, low warning.
        text.line("\n\t  %15s: %20s  %20s  %20s  %20s", l.name, r[0].value, r[2].value, r[3].value, r[1].value);
    }
}

void monitoring_thresholds(ShowText &text, const Row *thresholds, const char *temperature, const char *voltage) {
    text.line("\n\tModule");
    threshold_header(text);
    threshold_rows(text, thresholds, kModuleThresholds);
    text.line("\n\n\tTemperature: %s", temperature);
    text.line("\n\tVoltage: %s", voltage);
    text.line("\n\n\tLanes");
    threshold_header(text);
    threshold_rows(text, thresholds, kLaneThresholds);
}

}  // namespace qsfp::decode
