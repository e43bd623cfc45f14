#include "core/EMLog.h"
#include "platform/portal/PortalCapture.h"
#include "platform/portal/PortalRules.h"
#include "platform/portal/ScreenCastSession.h"
#include "platform/portal/StreamSource.h"

#include <QObject>

namespace portalcapture {
namespace {

const std::string kWindowShare = "window";

// The token goes with the monitor the portal shared, which the user may
// have chosen in the desktop's dialog; the one asked for when the portal
// does not say.
void keepToken(const RestoreTokenStore& tokens, const std::string& asked, const ScreenCastSession& session) {
    if (!tokens.save || session.restoreToken().empty())
        return;
    const auto at = session.position();
    tokens.save(at ? monitorKey(at->first, at->second) : asked, session.restoreToken());
}

} // namespace

std::string monitorKey(int x, int y) {
    return std::to_string(x) + "_" + std::to_string(y);
}

std::unique_ptr<CaptureSource> createScreenSource(const ScreenCaptureRequest& request,
                                                  PortalScreenOptions options) {
    ScreenOpener open = [tokens = std::move(options.tokens), share = options.share,
                         asked = monitorKey(request.screen.x, request.screen.y)](
                            std::string& error) -> std::optional<SharedScreen> {
        std::unique_ptr<ScreenCastSession> session = share ? share->take(false) : nullptr;
        if (!session) {
            ScreenCastRequest castRequest;
            if (tokens.load)
                castRequest.restoreToken = tokens.load(asked);
            session = ScreenCastSession::open(castRequest, error);
            if (!session)
                return std::nullopt;
            // A token is good for one restore; the portal hands out the next.
            keepToken(tokens, asked, *session);
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

std::unique_ptr<CaptureSource> createWindowSource(const WindowCaptureRequest& request,
                                                  ScreenShareBroker* share) {
    ScreenOpener open = [share](std::string& error) -> std::optional<SharedScreen> {
        std::unique_ptr<ScreenCastSession> session = share ? share->take(true) : nullptr;
        if (!session) {
            ScreenCastRequest castRequest;
            castRequest.window = true;
            session = ScreenCastSession::open(castRequest, error);
            if (!session)
                return std::nullopt;
        }
        SharedScreen shared;
        shared.remote = session->takePipeWireFd();
        shared.node = session->node();
        shared.keepAlive = std::shared_ptr<ScreenCastSession>(std::move(session));
        return shared;
    };
    return createWindowStreamSource(request, std::move(open));
}

ScreenShareBroker::ScreenShareBroker(RestoreTokenStore tokens)
    : tokens_(std::move(tokens)), context_(std::make_unique<QObject>()) {
}

ScreenShareBroker::~ScreenShareBroker() = default;

void ScreenShareBroker::request(bool window, const RVScreen& monitor,
                                std::function<void(const std::string& error)> done) {
    const std::string wanted = window ? kWindowShare : monitorKey(monitor.x, monitor.y);
    if (ready_ && asked_ == wanted) {
        done({});
        return;
    }
    if (!waiters_.empty() && asked_ != wanted) {
        done("the desktop is still being asked to share another screen or window");
        return;
    }
    ready_.reset(); // shared for something else, no longer wanted
    waiters_.push_back(std::move(done));
    if (waiters_.size() > 1)
        return; // the portal is asked already
    asked_ = wanted;
    ScreenCastRequest castRequest;
    castRequest.window = window;
    if (tokens_.load && !window)
        castRequest.restoreToken = tokens_.load(wanted);
    ScreenCastSession::openAsync(
        castRequest, context_.get(),
        [this](std::unique_ptr<ScreenCastSession> session, const std::string& error) {
            if (session && !session->window())
                keepToken(tokens_, asked_, *session);
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

std::unique_ptr<ScreenCastSession> ScreenShareBroker::take(bool window) {
    if (!ready_ || ready_->window() != window)
        return nullptr;
    return std::move(ready_);
}

} // namespace portalcapture
