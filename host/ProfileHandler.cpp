// SPDX-License-Identifier: MIT
#include "host/ProfileHandler.h"

#include "host/SharedInstance.h"

namespace {

class NoProfiles final : public ProfileHandler {
public:
    std::optional<std::string> valueForModelName(const std::optional<std::string>& /*modelName*/,
                                                 const std::string& /*Profile*/,
                                                 const std::string& /*nodePath*/) override {
        return std::nullopt;
    }
};

} // namespace

ProfileHandler::~ProfileHandler() = default;

std::shared_ptr<ProfileHandler> ProfileHandler::sharedInstance() {
    return sharedInstanceOf<ProfileHandler, NoProfiles>().get();
}

void ProfileHandler::setSharedInstance(std::shared_ptr<ProfileHandler> handler) {
    sharedInstanceOf<ProfileHandler, NoProfiles>().set(std::move(handler));
}
