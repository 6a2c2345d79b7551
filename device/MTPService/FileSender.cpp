// SPDX-License-Identifier: MIT
#include "device/MTPService/FileSender.h"

#include "device/MTPService/ApplicationCall.h"
#include "host/MediaLibrary.h"
#include "host/VXDeviceConfirmDelegate.h"
#include "platform/UserDefaults.h"

using platform::Dictionary;
using platform::Synchronized;

namespace {

constexpr const char* notAskKey = "LumoFileServicePreferencesNotAskOverwrite";
constexpr const char* isOverwriteKey = "LumoFileServicePreferencesIsOverwrite";

/// The overwrite decision for one file: the remembered one, or the application's, which may ask to be remembered.
bool decision(VXDeviceConfirmDelegate& delegate, const std::string& fileName) {
    platform::UserDefaults& defaults = platform::UserDefaults::standardUserDefaults();
    if (defaults.boolForKey(notAskKey)) {
        return defaults.boolForKey(isOverwriteKey);
    }
    bool isNotAsk = false;
    const bool overwrite = delegate.confirmOverwrite(fileName, isNotAsk);
    if (isNotAsk) {
        defaults.setBool(overwrite, isOverwriteKey);
        defaults.setBool(true, notAskKey);
        defaults.synchronize();
    }
    return overwrite;
}

} // namespace

bool FileSender::asksToOverwrite(MTPServicePrivate& service, const std::string& name) {
    const auto delegate = service._confirmDelegate.get().lock();
    bool overwrite = false;
    if (delegate != nullptr) {
        callApplication([&] { overwrite = decision(*delegate, name); });
    }
    return overwrite;
}

std::optional<Dictionary> FileSender::describe(const Dictionary& content, const std::string& source) {
    std::optional<Dictionary> known;
    if (content.contains("Title")) {
        return content;
    }
    if (!callApplication([&] { known = MediaLibrary::sharedInstance()->getMediaInfo(source, content); })) {
        return std::nullopt;
    }
    return known ? std::move(known) : content;
}

SendOutcome FileSender::send(const OutgoingFile& file) {
    const Synchronized library(MtpControl::classMonitor());
    SendOutcome outcome = sendOnce(file);
    if (outcome.status != DGSTATUS_NODE_FILE_DUPNAME_EXISTED || !_rules.mayOverwrite(file.name)) {
        return outcome;
    }
    if (_rules.isCancelled()) {
        return {.sent = false, .status = DGSTATUS_IO_CANCEL_SUCCESS, .node = std::nullopt};
    }
    return replace(file, std::move(outcome));
}

SendOutcome FileSender::sendOnce(const OutgoingFile& file) {
    SendOutcome outcome;
    outcome.sent = _service._mtpControl->sendMediaFileToMTPEx(_service._currentDeviceNode, _service._storageHeadNode,
                                                              file.folder, &file.data, file.target, _progress.callback,
                                                              _progress.context, &outcome.node, &outcome.status);
    return outcome;
}

SendOutcome FileSender::replace(const OutgoingFile& file, SendOutcome outcome) {
    MtpControl& control = *_service._mtpControl;
    if (!outcome.node) {
        return outcome; // not one file bears the name alone: a deletion by path could take another, and make no room
    }
    const bool isDeleted = control.deleteItemAtPath(_service._currentDeviceNode, _service._storageHeadNode,
                                                    outcome.node, file.target, &outcome.status);
    if (!isDeleted || outcome.status != DGSTATUS_SUCCESS) {
        return outcome;
    }
    if (_rules.mustStop()) {
        outcome.isStopped = true;
        return outcome;
    }
    return sendOnce(file);
}

void FileSender::takeIn(const OutgoingFile& file, const SendOutcome& outcome, QDMtpDeviceNotifier& notifier) {
    std::optional<Dictionary> info;
    _service.mediaFileInfo(file.target, outcome.node, info);
    if (info) {
        notifier.setMediaInfo(info);
    }
    if (outcome.node) {
        _service.indexNode(file.target, *outcome.node);
    }
}
