#include "backend_choice.h"

#include "emulated_card.h"
#include "i2c_backend.h"
#include "image_backend.h"
#include "sysfs_backend.h"

namespace qsfpctl {

CageList open_cages(const std::vector<BackendRequest> &requests, const I2cOpener &i2c_opener,
                    const std::shared_ptr<qsfp::sim::LineCard> &card, std::string &error) {
    if (requests.empty()) {
        return emulated_cages(card != nullptr ? card : make_emulated_card());
    }
    CageList cages;
    for (const BackendRequest &r : requests) {
        OpenedCage opened;
        switch (r.kind) {
        case BackendKind::image: opened = open_image(r.path); break;
        case BackendKind::sysfs: opened = open_sysfs(r.path); break;
        case BackendKind::i2c: opened = open_i2c(r.path, i2c_opener); break;
        }
        if (opened.cage == nullptr) {
            error = opened.error;
            return {};
        }
        cages.push_back(std::move(opened.cage));
    }
    return cages;
}

}  // namespace qsfpctl
