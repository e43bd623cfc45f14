#pragma once

#include "platform/portal/ScreenCastSession.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace streamtest {

// A connection of our own to the PipeWire server, as the portal hands one over.
inline portalcapture::UniqueFd connectToServer() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const char* remote = std::getenv("PIPEWIRE_REMOTE");
    const std::string path = std::string(runtime ? runtime : "/tmp") + "/" + (remote ? remote : "pipewire-0");
    portalcapture::UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        return {};
    return fd;
}

// Polls `done` for up to ten seconds: only so that a stream that never comes
// fails with a message instead of running into ctest's timeout.
template <typename Predicate> bool eventually(Predicate done) {
    for (int i = 0; i < 1000 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
}

} // namespace streamtest
