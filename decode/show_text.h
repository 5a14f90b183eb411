// The text a show command prints, built line by line into a work buffer of
// 9000 characters against the caller's size. A line that does not fit ends
// the build (-1, reported on standard error); the text so far is kept.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include <qsfp/qsfp_decode.h>

#include "decode/record_fields.h"

namespace qsfp::decode {

// Where a show text's page image holds each page: lower memory, then the
// upper pages in turn, 128 bytes each.
inline constexpr std::uint32_t kLowerAt = 0;
inline constexpr std::uint32_t kPage00At = 128;
inline constexpr std::uint32_t kPage01At = 256;
inline constexpr std::uint32_t kPage02At = 384;
inline constexpr std::uint32_t kPage03At = 512;

inline constexpr std::size_t kWorkBufferSize = 9008;
inline constexpr std::size_t kWorkTextCapacity = 9000;

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
using Zeroed = std::unique_ptr<char, FreeDeleter>;
// calloc'd bytes (null when the allocation failed), freed with the owner.
Zeroed zeroed(std::size_t bytes);

class ShowText {
public:
    // `work` is a zeroed buffer of kWorkBufferSize bytes; `name` names the
    // builder in the overflow report.
    ShowText(char *work, std::uint32_t size, const char *name);

    // Formats one line and appends it. After a failure nothing more is added.
    void line(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // The same for an optional line: appended only when `show` holds.
    void line_if(bool show, const char *format, ...) __attribute__((format(printf, 3, 4)));
    // Appends the dump of the 128 bytes at `bytes`, labelled from `address`.
    void dump(const std::uint8_t *bytes, std::uint32_t address);
    // A heading line, then the dump of the page at `offset` of `pages`.
    void dump_section(const char *heading, const std::uint8_t *pages, std::uint32_t offset);

    // 0, QSFP_SHOW_TEXT_OVERFLOW, or the failed dump's code.
    int status() const { return status_; }
    // Copies the text and its terminator to the caller's area, which holds
    // more than the text whenever its size was honoured.
    void copy_to(char *out, std::uint32_t size) const;

private:
    void append(const char *format, va_list args) __attribute__((format(printf, 2, 0)));

    char *work_;
    std::size_t used_;  // length of the text in work_
    int remaining_;
    const char *name_;
    int status_ = 0;
    int lines_ = 0;
};

// The optional lines compare their value with "Undefined" over one character
// only, so a value beginning with "U" is left out and an empty one is shown.
// That is how the show output has always decided, and it is kept.
bool shown(const char *value);

// Threshold table rows: the name and the record row of its high alarm; the
// low alarm, high warning and low warning follow it in the record.
struct ThresholdLine {
    const char *name;
    std::size_t high_alarm_row;
};
void threshold_header(ShowText &text);
void threshold_rows(ShowText &text, const Row *thresholds, std::span<const ThresholdLine> lines);

// "Module" thresholds with the module's temperature and voltage texts, then
// the "Lanes" thresholds.
void monitoring_thresholds(ShowText &text, const Row *thresholds, const char *temperature, const char *voltage);

}  // namespace qsfp::decode
