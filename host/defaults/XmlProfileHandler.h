// SPDX-License-Identifier: MIT
#pragma once

#include "host/ProfileHandler.h"

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Device profiles kept as XML files, "<folder>/<model name>/<profile>", looked for in the given folders in order; the
/// first folder that has the file decides. The node path "ZEP/Contents/Music/DefaultFolder/Internal" names the text of
/// the element that these element names lead to.
///
/// Files are read once, without network, entities or external types; a damaged one counts as a profile without entries.
/// Model names that would lead out of the folders have no profile. Thread-safe.
class XmlProfileHandler : public ProfileHandler {
public:
    explicit XmlProfileHandler(std::vector<std::string> folders);

    [[nodiscard]] std::optional<std::string> valueForModelName(const std::optional<std::string>& modelName,
                                                               const std::string& Profile,
                                                               const std::string& nodePath) override;

private:
    /// Element path to folder value, as it is answered.
    using Entries = std::map<std::string, std::string>;

    [[nodiscard]] Entries readProfile(const std::string& modelName, const std::string& profile) const;

    const std::vector<std::string> _folders;
    std::mutex _mutex;
    std::map<std::pair<std::string, std::string>, Entries> _profiles;
};

} // namespace host
