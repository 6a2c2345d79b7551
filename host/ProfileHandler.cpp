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

SharedInstance<ProfileHandler>& shared() {
    static auto& instance = *new SharedInstance<ProfileHandler>(std::make_shared<NoProfiles>());
    return instance; // outlives threads that still run at the process's end
}

} // namespace

ProfileHandler::~ProfileHandler() = default;

std::shared_ptr<ProfileHandler> ProfileHandler::sharedInstance() {
    return shared().get();
}

void ProfileHandler::setSharedInstance(std::shared_ptr<ProfileHandler> handler) {
    shared().set(std::move(handler));
}
