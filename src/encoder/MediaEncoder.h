/*
 * libMediaEncoder: writes screen recordings (BGRA video frames and 32-bit PCM
 * audio) into ordinary media files.
 *
 * Containers and codecs follow the output path's extension:
 *   .mp4 .mov .m4v  H.264 (libx264) + AAC, MPEG-4 family container
 *   .flv            H.264 + AAC
 *   .avi            H.264 (no B-frames) + MP3
 *   .mp3            MP3 (libmp3lame)
 *   .wav            16-bit PCM
 *   .m4a            AAC, MPEG-4 audio file
 *
 * Call order for one recording: apiEncoderCreate, the setters, apiEncoderEncode,
 * pushes, the two trailers, poll apiEncodeIsDone until 1, apiEncoderClose.
 *
 * Threads: every function may be called from any thread. Pushes may come from
 * several threads at once, and trailers or a close may arrive while pushes are
 * under way. A push copies or converts what it needs before it returns; the
 * caller's buffers are never kept. One encode thread per handle keeps the
 * timestamp order and writes the file.
 *
 * Status: functions returning int32_t give ME_OK (0) or a negative ME_ERR_*
 * code, except where said otherwise. Handles are opaque tokens that are never
 * reused, so a handle that has been closed is recognised and refused.
 */
#ifndef FRAMEDECK_MEDIAENCODER_H
#define FRAMEDECK_MEDIAENCODER_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define MEDIAENCODER_API __attribute__((visibility("default")))
#else
#define MEDIAENCODER_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Format codes. */
#define ME_IMAGE_FORMAT_BGRA 1000 /* apiEncoderSetImageFormat: B, G, R, A bytes in memory */
#define ME_PIXEL_FORMAT_BGRA 1005 /* EncoderVideoFrame.pixelFormat: the same layout */
#define ME_SAMPLE_FORMAT_S32 2    /* apiEncoderSetAudioSrcContext: signed 32-bit PCM, interleaved */

/* Status codes. */
#define ME_OK 0
#define ME_DROPPED 1            /* push refused by the overflow policy; counted, not an error */
#define ME_LIMIT_OK 1           /* apiEncoderSetLimitTime / apiEncoderSetLimitSize success */
#define ME_ERR_HANDLE (-1)      /* null, unknown or closed handle */
#define ME_ERR_ARGUMENT (-2)    /* null record, wrong size, stride, format or range */
#define ME_ERR_STATE (-3)       /* call not allowed now (push before encode, after trailer...) */
#define ME_ERR_UNSUPPORTED (-4) /* unknown extension, unsupported parameters */
#define ME_ERR_IO (-5)          /* file cannot be created or written (missing folder, full disk) */
#define ME_ERR_ENCODER (-6)     /* the codec or container refused to open */

/*
 * One video frame. 32 bytes. The pixel data must hold `height` rows of
 * `bytesPerRow` bytes (the last row may be only width * 4 bytes long), and
 * width and height must equal the image size given to apiEncoderSetImageSize.
 */
typedef struct EncoderVideoFrame {
    uint32_t pixelFormat; /* ME_PIXEL_FORMAT_BGRA */
    uint32_t width;
    uint32_t height;
    uint32_t bytesPerRow;
    const uint8_t* data;
    uint32_t dataLength;
    uint32_t changedRows; /* 0, or ME_CHANGED_ROWS(first, end): see below */
} EncoderVideoFrame;

/*
 * EncoderVideoFrame.changedRows tells which rows of the picture can differ
 * from the picture of the previous apiEncoderPushVideo call on the same
 * handle, whatever that call returned: rows [first, end), or none when
 * first == end. The library then converts those rows alone. 0 means "not
 * known": the whole picture is read. Rows are below 32768.
 */
#define ME_CHANGED_ROWS(first, end)                                                                          \
    (0x80000000u | ((uint32_t)(first)&0x7FFFu) | (((uint32_t)(end)&0x7FFFu) << 15))
#define ME_CHANGED_ROWS_MAX 0x7FFF

/* One buffer of interleaved audio in the source layout. 16 bytes. The length
 * must be a whole number of sample frames (channels * 4 bytes). */
typedef struct EncoderAudioFrame {
    const uint8_t* data;
    uint32_t dataLength;
    uint32_t unused;
} EncoderAudioFrame;

#ifdef __cplusplus
#define ME_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define ME_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif
ME_STATIC_ASSERT(sizeof(EncoderVideoFrame) == 32, "video frame record is 32 bytes");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, pixelFormat) == 0, "pixelFormat at 0");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, width) == 4, "width at 4");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, height) == 8, "height at 8");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, bytesPerRow) == 12, "bytesPerRow at 12");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, data) == 16, "data at 16");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, dataLength) == 24, "dataLength at 24");
ME_STATIC_ASSERT(offsetof(EncoderVideoFrame, changedRows) == 28, "changedRows at 28");
ME_STATIC_ASSERT(sizeof(EncoderAudioFrame) == 16, "audio frame record is 16 bytes");
ME_STATIC_ASSERT(offsetof(EncoderAudioFrame, data) == 0, "data at 0");
ME_STATIC_ASSERT(offsetof(EncoderAudioFrame, dataLength) == 8, "dataLength at 8");
ME_STATIC_ASSERT(offsetof(EncoderAudioFrame, unused) == 12, "unused at 12");

/* A new session; null only when memory is exhausted. */
MEDIAENCODER_API void* apiEncoderCreate(void);

/* UTF-8 path of the file to write. The extension picks the container (see
 * above); an unknown extension is refused with ME_ERR_UNSUPPORTED. The folder
 * must exist when apiEncoderEncode is called. */
MEDIAENCODER_API int32_t apiEncoderSetOutputPath(void* handle, const char* path);

/* Size of the frames that will be pushed, 2..16384 each. H.264 needs even
 * sizes: an odd width or height loses its last column or row in the output. */
MEDIAENCODER_API int32_t apiEncoderSetImageSize(void* handle, int32_t width, int32_t height);

/* ME_IMAGE_FORMAT_BGRA only. */
MEDIAENCODER_API int32_t apiEncoderSetImageFormat(void* handle, int32_t format);

/* Picture size of the output; must equal the image size (no scaling). */
MEDIAENCODER_API int32_t apiEncoderSetOutputSize(void* handle, int32_t width, int32_t height);

/* Output frame rate, 1..240. The file has a constant frame rate: frames are
 * placed by their timestamps, repeated to fill gaps, and dropped when two fall
 * on the same output frame. */
MEDIAENCODER_API int32_t apiEncoderSetFps(void* handle, double fps);

/* Video bit rate in kbit/s (5000 = 5 Mbit/s), 50..200000. */
MEDIAENCODER_API int32_t apiEncoderSetVideoBitrate(void* handle, double bitrate);

/* Layout of the pushed audio: 1..8 channels, 8000..192000 Hz,
 * format ME_SAMPLE_FORMAT_S32. */
MEDIAENCODER_API int32_t apiEncoderSetAudioSrcContext(void* handle, int32_t channels, int32_t sampleRate,
                                                      int32_t sampleFormat);

/* Audio bit rate in units of 10 bit/s: 12800 means 128 kbit/s. 800..51200.
 * MP3 uses the nearest standard rate; PCM ignores it. */
MEDIAENCODER_API int32_t apiEncoderSetAudioBitrate(void* handle, double bitrate);

/* Channels (1 or 2) and sample rate of the encoded audio; the pushed audio is
 * resampled when they differ from the source. A rate the codec cannot take is
 * replaced by the nearest one it can. */
MEDIAENCODER_API int32_t apiEncoderSetAudioEncodeContext(void* handle, int32_t channels, int32_t sampleRate);

/* Split by time: start a new file every `seconds` of media (0 = no split).
 * Returns ME_LIMIT_OK (1) on success. Parts after the first are named
 * <name>_1.<ext>, <name>_2.<ext>, ...; each starts on a keyframe at time 0. */
MEDIAENCODER_API int32_t apiEncoderSetLimitTime(void* handle, uint32_t seconds);

/* Split by size: start a new file when the current one would pass `megabytes`
 * (units of 1,000,000 bytes; 0 = no split). Returns ME_LIMIT_OK (1) on success. */
MEDIAENCODER_API int32_t apiEncoderSetLimitSize(void* handle, uint32_t megabytes);

/* Opens the codecs and the first file and starts the encode thread. At least
 * one of video (image size, fps, bit rate) and audio (source context) must be
 * set; a container without video ignores the video settings. */
MEDIAENCODER_API int32_t apiEncoderEncode(void* handle);

/* Converts the frame on the caller's thread and queues it. `timestampMs` is the
 * frame's time in milliseconds; the first frame pushed starts the video at 0,
 * together with the first audio sample. Returns ME_DROPPED when the queue is
 * full (the encoder is behind). */
MEDIAENCODER_API int32_t apiEncoderPushVideo(void* handle, const EncoderVideoFrame* frame,
                                             int64_t timestampMs);

/* Copies the samples and queues them. Audio has no timestamps: its position is
 * the number of samples pushed before it. When the queue is full the buffer is
 * replaced by silence of the same length (ME_DROPPED), so sync is kept. */
MEDIAENCODER_API int32_t apiEncoderPushAudio(void* handle, const EncoderAudioFrame* frame);

/* No more video / audio will come. Harmless for a stream the file does not have. */
MEDIAENCODER_API int32_t apiEncodePushVideoTrailer(void* handle);
MEDIAENCODER_API int32_t apiEncodePushAudioTrailer(void* handle);

/* 1 once both trailers have been pushed and everything is written and the
 * file finished; 0 while work remains; negative for a bad handle. */
MEDIAENCODER_API int32_t apiEncodeIsDone(void* handle);

/* Milliseconds of media encoded since the recording started (all parts). */
MEDIAENCODER_API int64_t apiEncoderGetEncodedTimestamp(void* handle);

/* Bytes written to the current file (part). */
MEDIAENCODER_API int64_t apiEncoderGetFileSize(void* handle);

/* Finishes the file (draining what was pushed, as if both trailers had come)
 * and frees the session. The handle is invalid afterwards. */
MEDIAENCODER_API int32_t apiEncoderClose(void* handle);

#ifdef __cplusplus
}
#endif

#endif /* FRAMEDECK_MEDIAENCODER_H */
