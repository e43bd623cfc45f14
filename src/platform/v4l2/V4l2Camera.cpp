#include "platform/v4l2/V4l2Camera.h"

#include "core/EMLog.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <libv4lconvert.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace v4l2camera {
namespace {

constexpr int kWantedWidth = 1280;
constexpr int kWantedHeight = 720;
// Four driver buffers let the camera fill one while we convert another.
constexpr unsigned kDriverBuffers = 4;
constexpr int kPoolFrames = 6;

int xioctl(int fd, unsigned long request, void* arg) {
    int r;
    do
        r = ioctl(fd, request, arg);
    while (r < 0 && errno == EINTR);
    return r;
}

struct Fd {
    int fd = -1;
    explicit Fd(int f = -1) : fd(f) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() {
        if (fd >= 0)
            close(fd);
    }
};

struct Mapping {
    void* address = MAP_FAILED;
    std::size_t length = 0;
    ~Mapping() {
        if (address != MAP_FAILED)
            munmap(address, length);
    }
};

struct ConvertFree {
    void operator()(v4lconvert_data* d) const { v4lconvert_destroy(d); }
};

bool isCaptureDevice(int fd, std::string* card) {
    v4l2_capability cap{};
    if (xioctl(fd, VIDIOC_QUERYCAP, &cap) < 0)
        return false;
    const uint32_t caps = (cap.capabilities & V4L2_CAP_DEVICE_CAPS) ? cap.device_caps : cap.capabilities;
    if (!(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING))
        return false;
    if (card)
        *card = reinterpret_cast<const char*>(cap.card);
    return true;
}

uint8_t clampByte(int v) {
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

class V4l2Source : public CaptureSource {
public:
    explicit V4l2Source(std::string device) : device_(std::move(device)) {}
    ~V4l2Source() override { stop(); }

    bool start(std::string& error) override {
        if (device_.empty()) {
            const auto cameras = listCameras();
            if (cameras.empty()) {
                error = "no camera";
                return false;
            }
            device_ = cameras.front().device;
        }
        fd_ = std::make_unique<Fd>(open(device_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        if (fd_->fd < 0 || !isCaptureDevice(fd_->fd, nullptr)) {
            error = "cannot open the camera " + device_;
            return false;
        }
        if (!chooseFormat(error) || !mapBuffers(error))
            return false;
        wake_ = std::make_unique<Fd>(eventfd(0, EFD_CLOEXEC));
        v4l2_buf_type type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (xioctl(fd_->fd, VIDIOC_STREAMON, &type) < 0) {
            error = "the camera " + device_ + " does not start";
            return false;
        }
        pool_ = FramePool::create(width_, height_, kPoolFrames);
        thread_ = std::thread([this] { run(); });
        return true;
    }

    void stop() override {
        if (thread_.joinable()) {
            const uint64_t one = 1;
            [[maybe_unused]] ssize_t n = write(wake_->fd, &one, sizeof one);
            thread_.join();
            v4l2_buf_type type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            xioctl(fd_->fd, VIDIOC_STREAMOFF, &type);
        }
        buffers_.clear();
        convert_.reset();
        fd_.reset();
    }

    CaptureCapabilities capabilities() const override { return {true, false, false}; }
    int frameWidth() const override { return width_; }
    int frameHeight() const override { return height_; }

private:
    bool chooseFormat(std::string& error) {
        uint32_t chosen = 0;
        v4l2_fmtdesc desc{};
        desc.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        for (desc.index = 0; xioctl(fd_->fd, VIDIOC_ENUM_FMT, &desc) == 0; ++desc.index) {
            if (desc.pixelformat == V4L2_PIX_FMT_YUYV)
                chosen = V4L2_PIX_FMT_YUYV;
            else if (desc.pixelformat == V4L2_PIX_FMT_MJPEG && chosen == 0)
                chosen = V4L2_PIX_FMT_MJPEG;
        }
        if (chosen == 0) {
            error = "the camera offers neither YUYV nor MJPEG";
            return false;
        }
        format_ = {};
        format_.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        format_.fmt.pix.width = kWantedWidth;
        format_.fmt.pix.height = kWantedHeight;
        format_.fmt.pix.pixelformat = chosen;
        format_.fmt.pix.field = V4L2_FIELD_NONE;
        if (xioctl(fd_->fd, VIDIOC_S_FMT, &format_) < 0) {
            error = "the camera refuses its own format";
            return false;
        }
        width_ = static_cast<int>(format_.fmt.pix.width);
        height_ = static_cast<int>(format_.fmt.pix.height);
        if (format_.fmt.pix.pixelformat == V4L2_PIX_FMT_MJPEG) {
            convert_.reset(v4lconvert_create(fd_->fd));
            if (!convert_) {
                error = "cannot decode the camera's pictures";
                return false;
            }
            rgb_.resize(static_cast<std::size_t>(width_) * height_ * 3);
        }
        EMLog::showMessage("%s %d camera %s %dx%d %s", __func__, __LINE__, device_.c_str(), width_, height_,
                           convert_ ? "MJPEG" : "YUYV");
        return true;
    }

    bool mapBuffers(std::string& error) {
        v4l2_requestbuffers request{};
        request.count = kDriverBuffers;
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        if (xioctl(fd_->fd, VIDIOC_REQBUFS, &request) < 0 || request.count < 2) {
            error = "the camera has no streaming buffers";
            return false;
        }
        for (unsigned i = 0; i < request.count; ++i) {
            v4l2_buffer buffer{};
            buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            buffer.memory = V4L2_MEMORY_MMAP;
            buffer.index = i;
            if (xioctl(fd_->fd, VIDIOC_QUERYBUF, &buffer) < 0)
                return error = "cannot map the camera's buffers", false;
            auto& mapping = buffers_.emplace_back(std::make_unique<Mapping>());
            mapping->length = buffer.length;
            mapping->address =
                mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_->fd, buffer.m.offset);
            if (mapping->address == MAP_FAILED || xioctl(fd_->fd, VIDIOC_QBUF, &buffer) < 0)
                return error = "cannot map the camera's buffers", false;
        }
        return true;
    }

    void run() {
        nameCurrentThread("VideoOutputQueue");
        pollfd fds[2] = {{fd_->fd, POLLIN, 0}, {wake_->fd, POLLIN, 0}};
        for (;;) {
            if (poll(fds, 2, -1) < 0 && errno != EINTR)
                break;
            if (fds[1].revents)
                return;
            if (fds[0].revents & (POLLERR | POLLHUP)) {
                deliverFailure("the camera was disconnected");
                return;
            }
            if (fds[0].revents & POLLIN)
                takeFrame();
        }
    }

    void takeFrame() {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        if (xioctl(fd_->fd, VIDIOC_DQBUF, &buffer) < 0)
            return;
        const auto* data = static_cast<const uint8_t*>(buffers_[buffer.index]->address);
        VideoFramePtr frame = pool_->acquire();
        bool ok = frame != nullptr;
        if (ok && convert_) {
            v4l2_format rgb = format_;
            rgb.fmt.pix.pixelformat = V4L2_PIX_FMT_RGB24;
            rgb.fmt.pix.bytesperline = static_cast<uint32_t>(width_ * 3);
            rgb.fmt.pix.sizeimage = static_cast<uint32_t>(rgb_.size());
            ok = v4lconvert_convert(convert_.get(), &format_, &rgb, const_cast<uint8_t*>(data),
                                    buffer.bytesused, rgb_.data(), static_cast<unsigned>(rgb_.size())) > 0;
            for (int y = 0; ok && y < height_; ++y) {
                const uint8_t* in = rgb_.data() + static_cast<std::size_t>(y) * width_ * 3;
                uint8_t* out = frame->pixels.row(y);
                for (int x = 0; x < width_; ++x, in += 3, out += 4) {
                    out[0] = in[2];
                    out[1] = in[1];
                    out[2] = in[0];
                    out[3] = 0xff;
                }
            }
        } else if (ok) {
            yuyvToBgra(data, width_, height_, static_cast<int>(format_.fmt.pix.bytesperline), frame->pixels);
        }
        xioctl(fd_->fd, VIDIOC_QBUF, &buffer);
        if (ok) {
            frame->captureTime = captureClockNow();
            deliverVideo(frame);
        }
    }

    std::string device_;
    std::unique_ptr<Fd> fd_;
    std::unique_ptr<Fd> wake_;
    v4l2_format format_{};
    int width_ = 0;
    int height_ = 0;
    std::vector<std::unique_ptr<Mapping>> buffers_;
    std::unique_ptr<v4lconvert_data, ConvertFree> convert_;
    std::vector<uint8_t> rgb_;
    std::shared_ptr<FramePool> pool_;
    std::thread thread_;
};

} // namespace

void yuyvToBgra(const uint8_t* yuyv, int width, int height, int srcStride, PixelBufferView& out) {
    for (int y = 0; y < height; ++y) {
        const uint8_t* in = yuyv + static_cast<std::ptrdiff_t>(y) * srcStride;
        uint8_t* px = out.row(y);
        for (int x = 0; x + 1 < width; x += 2, in += 4) {
            const int u = in[1] - 128;
            const int v = in[3] - 128;
            for (int k = 0; k < 2; ++k, px += 4) {
                const int c = 298 * (in[k * 2] - 16);
                px[0] = clampByte((c + 516 * u + 128) >> 8);
                px[1] = clampByte((c - 100 * u - 208 * v + 128) >> 8);
                px[2] = clampByte((c + 409 * v + 128) >> 8);
                px[3] = 0xff;
            }
        }
    }
}

std::vector<CameraInfo> listCameras() {
    std::vector<CameraInfo> cameras;
    DIR* dir = opendir("/dev");
    if (!dir)
        return cameras;
    std::vector<std::string> nodes;
    while (dirent* entry = readdir(dir))
        if (std::strncmp(entry->d_name, "video", 5) == 0)
            nodes.push_back(std::string("/dev/") + entry->d_name);
    closedir(dir);
    std::sort(nodes.begin(), nodes.end());
    for (const auto& node : nodes) {
        Fd fd(open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        std::string card;
        if (fd.fd >= 0 && isCaptureDevice(fd.fd, &card))
            cameras.push_back({node, card});
    }
    return cameras;
}

std::unique_ptr<CaptureSource> createCamera(const CameraCaptureRequest& request) {
    return std::make_unique<V4l2Source>(request.device);
}

} // namespace v4l2camera
