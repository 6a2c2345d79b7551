// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

#include <memory>
#include <optional>
#include <string>

/// Device profiles, supplied by the application. Called under the service's locks, from any thread; must not call back
/// into the service.
class MTPSERVICE_EXPORT ProfileHandler {
public:
    virtual ~ProfileHandler();

    /// The application's handler; one that knows no profile until setSharedInstance is called.
    static std::shared_ptr<ProfileHandler> sharedInstance();
    static void setSharedInstance(std::shared_ptr<ProfileHandler> handler);

    /// The text of a node ("ZEP/Contents/Music/DefaultFolder/Internal") in a profile file ("Contents.xml") of a model,
    /// or nothing. Folder values begin with "/", so that they can be appended to a storage's path. The model name may
    /// be missing.
    [[nodiscard]] virtual std::optional<std::string> valueForModelName(const std::optional<std::string>& modelName,
                                                                       const std::string& Profile,
                                                                       const std::string& nodePath) = 0;
};
