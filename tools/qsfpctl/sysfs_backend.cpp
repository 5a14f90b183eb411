#include "sysfs_backend.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "linear_map.h"

namespace qsfpctl {

namespace {

// A file shorter than a short read asks for: the page is not there (EIO, as
// the kernel answers when the module does not acknowledge).
constexpr std::uint32_t kShortTransfer = 5;
// Lower memory and page 00h: the least any module's file holds.
constexpr off_t kMinimumFile = 2 * kHalfPage;

class SysfsCage : public CageBackend {
public:
    SysfsCage(int fd, bool writable, std::string path) : fd_(fd), writable_(writable), path_(std::move(path)) {}
    ~SysfsCage() override { ::close(fd_); }
    SysfsCage(const SysfsCage &) = delete;
    SysfsCage &operator=(const SysfsCage &) = delete;

    CageAccess access() override {
        CageAccess a;
        a.read = read;
        a.write = write;
        a.opaque = reinterpret_cast<std::uint64_t>(this);
        a.direct_page = true;
        a.writable = writable_;
        a.real_time = true;
        return a;
    }

    std::string describe() const override { return "sysfs EEPROM file " + path_; }

private:
    static uint32_t read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf) {
        const auto *self = reinterpret_cast<const SysfsCage *>(opaque);
        const ssize_t n = ::pread(self->fd_, buf, len, static_cast<off_t>(linear_offset(page, reg)));
        if (n < 0) {
            return static_cast<std::uint32_t>(errno);
        }
        return static_cast<std::uint32_t>(n) == len ? 0 : kShortTransfer;
    }

    static uint32_t write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf) {
        const auto *self = reinterpret_cast<const SysfsCage *>(opaque);
        const ssize_t n = ::pwrite(self->fd_, buf, len, static_cast<off_t>(linear_offset(page, reg)));
        if (n < 0) {
            return static_cast<std::uint32_t>(errno);
        }
        return static_cast<std::uint32_t>(n) == len ? 0 : kShortTransfer;
    }

    int fd_;
    bool writable_;
    std::string path_;
};

}  // namespace

OpenedCage open_sysfs(const std::string &path) {
    bool writable = true;
    int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0 && (errno == EACCES || errno == EROFS || errno == EPERM)) {
        writable = false;
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    if (fd < 0) {
        return {nullptr, "cannot open sysfs EEPROM file " + path + ": " + std::strerror(errno)};
    }
    struct stat st{};
    // sysfs attributes report their size; a regular file must hold lower
    // memory and page 00h at least.
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode) || (S_ISREG(st.st_mode) && st.st_size < kMinimumFile)) {
        const std::string why = S_ISDIR(st.st_mode) ? "is a directory"
                                                    : "holds " + std::to_string(st.st_size) +
                                                          " bytes, fewer than lower memory and page 00h (256)";
        ::close(fd);
        return {nullptr, "sysfs EEPROM file " + path + " " + why};
    }
    return {std::make_unique<SysfsCage>(fd, writable, path), {}};
}

}  // namespace qsfpctl
