#include "image_backend.h"

#include <filesystem>

#include <qsfp/sim/image_file.h>

#include "linear_map.h"

namespace qsfpctl {

namespace {

// What an access to a page the image lacks answers, as a sysfs EEPROM file
// answers for a page the module lacks (EINVAL).
constexpr std::uint32_t kMissingPage = 22;
// What a write answers: an image is evidence, never changed (EROFS).
constexpr std::uint32_t kReadOnly = 30;

class ImageCage : public CageBackend {
public:
    ImageCage(qsfp::sim::ModuleMemory memory, std::string path) : memory_(std::move(memory)), path_(std::move(path)) {}

    CageAccess access() override {
        CageAccess a;
        a.read = read;
        a.write = write;
        a.opaque = reinterpret_cast<std::uint64_t>(this);
        a.direct_page = true;
        a.writable = false;
        return a;
    }

    std::string describe() const override { return "image " + path_; }

private:
    // Direct-page reads in the linear layout: a read from lower memory may run
    // on into page 00h and the pages after it, as the library's whole-image
    // read does.
    static uint32_t read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf) {
        const auto *self = reinterpret_cast<const ImageCage *>(opaque);
        auto *out = static_cast<std::uint8_t *>(buf);
        for (std::uint32_t i = 0; i < len; ++i) {
            const std::uint64_t address = linear_offset(page, reg) + i;
            if (address < kHalfPage) {
                out[i] = self->memory_.get(0, static_cast<std::uint8_t>(address));
                continue;
            }
            const std::uint64_t upper = address / kHalfPage - 1;
            if (upper > kLastPage || !self->memory_.has_page(static_cast<std::uint8_t>(upper))) {
                return kMissingPage;
            }
            out[i] = self->memory_.get(static_cast<std::uint8_t>(upper),
                                       static_cast<std::uint8_t>(kHalfPage + address % kHalfPage));
        }
        return 0;
    }

    static uint32_t write(uint64_t, uint8_t, uint8_t, uint32_t, const void *) { return kReadOnly; }

    qsfp::sim::ModuleMemory memory_;
    std::string path_;
};

}  // namespace

OpenedCage open_image(const std::string &path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        return {nullptr, "image " + path + " does not exist"};
    }
    qsfp::sim::ImageLoad load = qsfp::sim::load_image_file(path);
    if (!load.ok()) {
        return {nullptr, "image " + path + ": " + load.error};
    }
    return {std::make_unique<ImageCage>(std::move(*load.memory), path), {}};
}

}  // namespace qsfpctl
