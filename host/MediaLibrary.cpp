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

SharedInstance<MediaLibrary>& shared() {
    static auto& instance = *new SharedInstance<MediaLibrary>(std::make_shared<NoMediaInformation>());
    return instance; // outlives threads that still run at the process's end
}

} // namespace

MediaLibrary::~MediaLibrary() = default;

std::shared_ptr<MediaLibrary> MediaLibrary::sharedInstance() {
    return shared().get();
}

void MediaLibrary::setSharedInstance(std::shared_ptr<MediaLibrary> library) {
    shared().set(std::move(library));
}
