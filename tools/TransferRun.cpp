// SPDX-License-Identifier: MIT
#include "tools/TransferRun.h"

#include <utility>

namespace tool {

namespace {

std::unique_ptr<TransferPrinter> makePrinter(const Environment& environment, std::string doneWord,
                                             TransferRun::Told told) {
    if (!environment.options.json && told == TransferRun::Told::failuresOnly) {
        return makeQuietPrinter(environment.console, std::chrono::steady_clock::now);
    }
    return (environment.options.json ? makeJsonPrinter : makeTextPrinter)(
        environment.console, std::chrono::steady_clock::now, std::move(doneWord));
}

} // namespace

TransferRun::TransferRun(Environment& environment, std::string doneWord, Told told)
    : _environment(environment)
    , _printer(makePrinter(environment, std::move(doneWord), told))
    , _answers(environment.interrupt) {}

TransferRun::~TransferRun() = default;

std::shared_ptr<OverwriteQuestion> TransferRun::question(OverwriteMode mode, const char* where) {
    return std::make_shared<OverwriteQuestion>(
        mode, _environment.console, _answers.isThere() ? &_answers : nullptr,
        [this](const std::string& name) {
            if (_progress) {
                _progress->noteKept(name);
            }
        },
        where);
}

bool TransferRun::confirms(const std::string& question) {
    std::optional<OverwriteAnswer> answer;
    while (!answer) {
        _environment.console.ask(question + " [y]es / [n]o: ", [&] {
            const std::optional<std::string> line = _answers.readLine();
            answer = line ? parseOverwriteAnswer(*line) : OverwriteAnswer::no;
        });
    }
    return *answer == OverwriteAnswer::yes;
}

void TransferRun::leaveOut(const LeftOut& entry) {
    ++(entry.isFailure ? _failed : _skipped);
    _printer->leftOut(entry);
}

void TransferRun::leaveOut(const std::vector<LeftOut>& entries) {
    for (const LeftOut& entry : entries) {
        leaveOut(entry);
    }
}

void TransferRun::begin(std::vector<LocalFile> files) {
    _isCutShort = _environment.interrupt.isRequested();
    _progress = std::make_unique<TransferProgress>(std::move(files), *_printer);
    _observation.emplace("", [this](const platform::Notification& notification) { _progress->handle(notification); });
}

std::vector<std::size_t> TransferRun::filesWhere(const std::function<bool(const LocalFile&)>& condition) const {
    std::vector<std::size_t> indexes;
    for (std::size_t file = 0; file < files().size(); ++file) {
        if (condition(files()[file])) {
            indexes.push_back(file);
        }
    }
    return indexes;
}

void TransferRun::keep(std::size_t file, const std::string& reason) {
    _progress->keep(file, reason);
}

void TransferRun::request(MTPService& service, const std::vector<std::size_t>& files, const Enqueue& enqueue) {
    if (files.empty() || isOver()) {
        return;
    }
    const std::uint32_t serviceID = ++_serviceID;
    _progress->beginRequest(serviceID, files);
    RequestRunner runner(service, _environment.interrupt);
    RequestRunner::Request request;
    request.serviceID = serviceID;
    request.enqueue = [&] { enqueue(serviceID); };
    request.hasStarted = [this] { return _progress->hasRequestStarted(); };
    request.restart = [this] { _progress->restartRequest(); };
    request.isHopeless = [this] { return _progress->isDeviceGone(); };
    request.tick = [this] { tick(); };
    if (runner.run(request) == RequestRunner::End::lost) {
        _environment.console.say("The service does not take the request; its queue stays busy.");
    }
    _progress->endRequest();
}

bool TransferRun::isOver() const {
    return _environment.interrupt.isRequested() || _progress->isDeviceGone();
}

/// While a request runs: the clock of the progress bar, and what makes the run end early.
void TransferRun::tick() {
    if (_environment.console.isBroken()) {
        _environment.interrupt.request(); // nobody reads on
    }
    if (_environment.interrupt.isRequested() && !std::exchange(_saidStopping, true)) {
        _progress->noteCancelled();
        _environment.console.say("Stopping after what is on the wire; Ctrl-C again quits at once.");
    }
    _progress->tick();
}

ExitStatus TransferRun::finish() {
    _progress->settleRest();
    _observation.reset();
    const TransferSnapshot snapshot = _progress->snapshot();
    _printer->summarise(snapshot, _skipped, _failed);
    return _isCutShort || snapshot.failed + _failed > 0 ? ExitStatus::someFailed : ExitStatus::done;
}

MediaType requestType(const MTPService& service, const std::string& name) {
    const auto type = static_cast<MediaType>(service.checkMediaType(name));
    return type == MediaTypeImage || type == MediaTypeMovie ? type : MediaTypeMusic;
}

platform::Array contentsOf(const std::vector<LocalFile>& files, const std::vector<std::size_t>& indexes) {
    platform::Array contents;
    for (const std::size_t index : indexes) {
        // Without "FileSize", which the service reads with 32 bits only: it measures the files itself.
        contents.emplace_back(platform::Dictionary{{"FilePath", files[index].path}, {"FileName", files[index].name}});
    }
    return contents;
}

} // namespace tool
