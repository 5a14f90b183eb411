// Text built piece by piece into a caller's area with snprintf. Nothing is
// ever written past the area; the length counts every piece, also those that
// did not fit, so a caller can tell how much the whole text would take.
//     text.add(std::snprintf(text.cursor(), text.left(), "%d", n));
#pragma once

#include <algorithm>
#include <cstddef>

namespace qsfp::framework {

class BoundedText {
public:
    BoundedText(char *out, std::size_t room) : out_(out), room_(room) {}

    char *cursor() const { return out_ + std::min(length_, room_); }
    std::size_t left() const { return length_ < room_ ? room_ - length_ : 0; }

    // Takes snprintf's answer for a piece written at cursor() with left();
    // answers whether the piece fitted whole (with its terminator).
    bool add(int n) {
        if (n < 0) {
            return false;
        }
        const bool fitted = static_cast<std::size_t>(n) < left();
        length_ += static_cast<std::size_t>(n);
        return fitted;
    }

    std::size_t length() const { return length_; }
    // What the area holds: the length, or the whole area once it overflowed.
    std::size_t stored() const { return std::min(length_, room_); }

private:
    char *out_;
    std::size_t room_;
    std::size_t length_ = 0;
};

}  // namespace qsfp::framework
