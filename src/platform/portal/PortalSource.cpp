#include "core/EMLog.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRules.h"
#include "platform/portal/ScreenCastSession.h"
#include "platform/portal/StreamSource.h"

#include <QObject>

namespace portalcapture {

std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request,
                                                  PortalScreenOptions options) {
    ScreenOpener open = [tokens = std::move(options.tokens),
                         share = options.share](std::string& error) -> std::optional<SharedScreen> {
        std::unique_ptr<ScreenCastSession> session = share ? share->take() : nullptr;
        if (!session) {
            ScreenCastRequest castRequest;
            if (tokens.load)
                castRequest.restoreToken = tokens.load();
            session = ScreenCastSession::open(castRequest, error);
            if (!session)
                return std::nullopt;
            // A token is good for one restore; the portal hands out the next.
            if (tokens.save && !session->restoreToken().empty())
                tokens.save(session->restoreToken());
        }
        SharedScreen shared;
        shared.remote = session->takePipeWireFd();
        shared.node = session->node();
        shared.cursorMetadata = session->cursorMode() == kCursorMetadata;
        if (const auto at = session->position(); at && session->width() > 0 && session->height() > 0)
            shared.monitor = RVScreen{"", at->first, at->second, session->width(), session->height(), false};
        shared.keepAlive = std::shared_ptr<ScreenCastSession>(std::move(session));
        return shared;
    };
    return createStreamSource(request, std::move(options.pointer), std::move(open));
}

ScreenShareBroker::ScreenShareBroker(RestoreTokenStore tokens)
    : tokens_(std::move(tokens)), context_(std::make_unique<QObject>()) {
}

ScreenShareBroker::~ScreenShareBroker() = default;

void ScreenShareBroker::request(std::function<void(const std::string& error)> done) {
    if (ready_) {
        done({});
        return;
    }
    waiters_.push_back(std::move(done));
    if (waiters_.size() > 1)
        return; // the portal is asked already
    ScreenCastRequest castRequest;
    if (tokens_.load)
        castRequest.restoreToken = tokens_.load();
    ScreenCastSession::openAsync(
        castRequest, context_.get(),
        [this](std::unique_ptr<ScreenCastSession> session, const std::string& error) {
            if (session && tokens_.save && !session->restoreToken().empty())
                tokens_.save(session->restoreToken());
            ready_ = std::move(session);
            if (!error.empty())
                EMLog::showMessage("%s %d the screen was not shared: %s", __func__, __LINE__, error.c_str());
            // A waiter may ask again from its callback.
            const auto waiters = std::exchange(waiters_, {});
            for (const auto& waiter : waiters)
                waiter(error);
        });
}

void ScreenShareBroker::cancel() {
    if (waiters_.empty())
        return;
    waiters_.clear();
    ScreenCastSession::cancelOpening(context_.get());
    EMLog::showMessage("%s %d the request for the screen was withdrawn", __func__, __LINE__);
}

std::unique_ptr<ScreenCastSession> ScreenShareBroker::take() {
    return std::move(ready_);
}

} // namespace portalcapture
