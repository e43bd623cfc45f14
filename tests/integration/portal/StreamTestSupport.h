#pragma once

#include "platform/portal/ScreenCastSession.h"
#include "platform/portal/StreamSource.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace streamtest {

// What the portal hands over for a screen cast's `node`: a connection of our
// own to the PipeWire server, and whether the stream sends the pointer as
// cursor metadata. For createStreamSource.
inline auto sharedScreen(uint32_t node, bool cursorMetadata = false) {
    return [node, cursorMetadata](std::string& error) {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        const char* remote = std::getenv("PIPEWIRE_REMOTE");
        const std::string path =
            std::string(runtime ? runtime : "/tmp") + "/" + (remote ? remote : "pipewire-0");
        std::optional<portalcapture::SharedScreen> shared(std::in_place);
        shared->remote = portalcapture::UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        if (connect(shared->remote.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
            error = "cannot connect to PipeWire";
            return std::optional<portalcapture::SharedScreen>();
        }
        shared->node = node;
        shared->cursorMetadata = cursorMetadata;
        return shared;
    };
}

// Polls `done` for up to ten seconds: only so that a stream that never comes
// fails with a message instead of running into ctest's timeout.
template <typename Predicate> bool eventually(Predicate done) {
    for (int i = 0; i < 1000 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
}

} // namespace streamtest
