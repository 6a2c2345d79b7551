// SPDX-License-Identifier: MIT
#include "host/MediaLibrary.h"

#include "host/SharedInstance.h"

namespace {

class NoMediaInformation final : public MediaLibrary {
public:
    std::optional<platform::Dictionary> getMediaInfo(const std::string& /*filePath*/,
                                                     const platform::Dictionary& /*info*/) override {
        return std::nullopt;
    }
};

} // namespace

MediaLibrary::~MediaLibrary() = default;

std::shared_ptr<MediaLibrary> MediaLibrary::sharedInstance() {
    return sharedInstanceOf<MediaLibrary, NoMediaInformation>().get();
}

void MediaLibrary::setSharedInstance(std::shared_ptr<MediaLibrary> library) {
    sharedInstanceOf<MediaLibrary, NoMediaInformation>().set(std::move(library));
}
