#pragma once

struct AVPacket;

namespace me {

// Where the encoders hand their packets (encode thread only). Packets are in
// the encoder's time base; the sink takes their data (the packet is left
// blank or unreferenced afterwards). A negative return stops the caller.
class PacketSink {
public:
    virtual ~PacketSink() = default;
    virtual int writeVideoPacket(AVPacket* packet) = 0;
    virtual int writeAudioPacket(AVPacket* packet) = 0;
};

} // namespace me
