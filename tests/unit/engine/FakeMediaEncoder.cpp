#include "FakeMediaEncoder.h"

#include "MediaEncoder.h"

#include <cstring>

FakeEncoder& fakeEncoder() {
    static FakeEncoder f;
    return f;
}

namespace {

int handleCounter = 0;

int32_t note(const std::string& call, int32_t status) {
    fakeEncoder().calls.push_back(call);
    return status;
}

std::string num(double v) {
    std::string s = std::to_string(v);
    s.erase(s.find_last_not_of('0') + 1);
    if (!s.empty() && s.back() == '.')
        s.pop_back();
    return s;
}

} // namespace

extern "C" {

void* apiEncoderCreate(void) {
    fakeEncoder().calls.push_back("Create");
    return reinterpret_cast<void*>(static_cast<uintptr_t>(++handleCounter));
}
int32_t apiEncoderSetOutputPath(void*, const char* path) {
    return note(std::string("SetOutputPath(") + path + ")", fakeEncoder().setterStatus);
}
int32_t apiEncoderSetImageSize(void*, int32_t w, int32_t h) {
    return note("SetImageSize(" + std::to_string(w) + "," + std::to_string(h) + ")",
                fakeEncoder().setterStatus);
}
int32_t apiEncoderSetImageFormat(void*, int32_t f) {
    return note("SetImageFormat(" + std::to_string(f) + ")", fakeEncoder().setterStatus);
}
int32_t apiEncoderSetOutputSize(void*, int32_t w, int32_t h) {
    return note("SetOutputSize(" + std::to_string(w) + "," + std::to_string(h) + ")",
                fakeEncoder().setterStatus);
}
int32_t apiEncoderSetFps(void*, double fps) {
    return note("SetFps(" + num(fps) + ")", fakeEncoder().setterStatus);
}
int32_t apiEncoderSetVideoBitrate(void*, double b) {
    return note("SetVideoBitrate(" + num(b) + ")", fakeEncoder().setterStatus);
}
int32_t apiEncoderSetAudioSrcContext(void*, int32_t ch, int32_t rate, int32_t fmt) {
    return note("SetAudioSrcContext(" + std::to_string(ch) + "," + std::to_string(rate) + "," +
                    std::to_string(fmt) + ")",
                fakeEncoder().setterStatus);
}
int32_t apiEncoderSetAudioBitrate(void*, double b) {
    return note("SetAudioBitrate(" + num(b) + ")", fakeEncoder().setterStatus);
}
int32_t apiEncoderSetAudioEncodeContext(void*, int32_t ch, int32_t rate) {
    return note("SetAudioEncodeContext(" + std::to_string(ch) + "," + std::to_string(rate) + ")",
                fakeEncoder().setterStatus);
}
int32_t apiEncoderSetLimitTime(void*, uint32_t v) {
    return note("SetLimitTime(" + std::to_string(v) + ")", fakeEncoder().limitStatus);
}
int32_t apiEncoderSetLimitSize(void*, uint32_t v) {
    return note("SetLimitSize(" + std::to_string(v) + ")", fakeEncoder().limitStatus);
}
int32_t apiEncoderEncode(void*) {
    return note("Encode", fakeEncoder().encodeStatus);
}
int32_t apiEncoderPushVideo(void*, const EncoderVideoFrame*, int64_t ms) {
    return note("PushVideo(" + std::to_string(ms) + ")", fakeEncoder().pushStatus);
}
int32_t apiEncoderPushAudio(void*, const EncoderAudioFrame* frame) {
    std::vector<int32_t> words(frame->dataLength / 4);
    std::memcpy(words.data(), frame->data, words.size() * 4);
    fakeEncoder().audioPushes.push_back(words);
    return note("PushAudio(" + std::to_string(frame->dataLength) + ")", fakeEncoder().pushStatus);
}
int32_t apiEncodePushVideoTrailer(void*) {
    return note("PushVideoTrailer", fakeEncoder().pushStatus);
}
int32_t apiEncodePushAudioTrailer(void*) {
    return note("PushAudioTrailer", fakeEncoder().pushStatus);
}
int32_t apiEncodeIsDone(void*) {
    FakeEncoder& f = fakeEncoder();
    f.calls.push_back("IsDone");
    return f.isDonePollsBeforeDone-- > 0 ? 0 : 1;
}
int64_t apiEncoderGetEncodedTimestamp(void*) {
    fakeEncoder().calls.push_back("GetEncodedTimestamp");
    return fakeEncoder().encodedTimestamp;
}
int64_t apiEncoderGetFileSize(void*) {
    fakeEncoder().calls.push_back("GetFileSize");
    return fakeEncoder().fileSize;
}
int32_t apiEncoderClose(void*) {
    return note("Close", fakeEncoder().closeStatus);
}

} // extern "C"
