// Develops camera raw files with LibRaw: demosaicing, the camera's white balance and colours, sRGB with its tone curve.
#include <libraw/libraw.h>

#include <memory>
#include <string>
#include <vector>

#include "Host/Core/AddressSpace.h"
#include "Host/Core/Exception.h"
#include "Host/Io/RawDecoder.h"

namespace Orvexa::Io {

namespace {

class RawFile {
public:
    RawFile(std::span<const std::uint8_t> bytes, const ReadOptions& options)
        : options_(options), raw_(std::make_unique<LibRaw>()) {
        raw_->set_dataerror_handler([](void* damages, const char*, auto) { ++*static_cast<int*>(damages); }, &damages_);
        SetParameters();
        // LibRaw does not write through the pointer.
        const int code = raw_->open_buffer(const_cast<std::uint8_t*>(bytes.data()), bytes.size());
        if (code == LIBRAW_FILE_UNSUPPORTED)
            Throw("this is a camera raw file of a kind that is not known, or its beginning is damaged");
        Check(code);
    }

    std::uint64_t GetPixels() const {
        return ImageSize{raw_->imgdata.sizes.width, raw_->imgdata.sizes.height}.GetPixels();
    }
    // The picture cannot be developed after this call.
    ImageSize GetUprightSize() {
        Check(raw_->adjust_sizes_info_only());
        const auto& sizes = raw_->imgdata.sizes;
        return {sizes.iwidth, sizes.iheight};
    }

    void CheckSize() const {
        const ImageSize size{raw_->imgdata.sizes.width, raw_->imgdata.sizes.height};
        if (size.GetPixels() > options_.maxPixels)
            Throw("the picture has " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                  " pixels, more than the limit of " + std::to_string(options_.maxPixels) + " (--max-pixels)");
        // The sensor's samples, four of 16 bits per pixel, and the additional memory of demosaicing.
        constexpr std::uint64_t kOnce = 64 << 20, kPerPixel = 24;
        Core::RequireAddressSpace(kOnce + size.GetPixels() * kPerPixel);
    }

    enum class State { Whole, Damaged, Lost };
    State Unpack() {
        const int code = raw_->unpack();
        if (IsCut(code)) return State::Lost;
        Check(code);
        return damages_ == 0 ? State::Whole : State::Damaged;
    }

    // After unpacking.
    LoadedImage Develop(const Proc::AllocatorPtr& allocator) {
        Check(raw_->dcraw_process());
        int width = 0, height = 0, colors = 0, bits = 0;
        raw_->get_mem_image_format(&width, &height, &colors, &bits);
        if (width <= 0 || height <= 0 || (colors != 1 && colors != 3) || bits != 8)
            Throw(std::to_string(colors) + " channels of " + std::to_string(bits) + " bits are not supported");
        LoadedImage image;
        image.frame = Proc::NewFrame(allocator, colors == 1 ? PixFmt::Gray8 : PixFmt::Rgb24,
                                     {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)});
        image.frame->SetDuration(0);
        image.frame->SetTimestamp(0);
        const Proc::Plane& plane = image.frame->GetPlane(0);
        Check(raw_->copy_mem_image(plane.GetData(), static_cast<int>(plane.GetStride()), 0));
        image.notes.emplace_back("the raw data is developed to 8 bits a channel, which effects work on");
        return image;
    }

private:
    void SetParameters() {
        constexpr int kSrgb = 1, kBits = 8;
        auto& parameters = raw_->imgdata.params;
        parameters.output_color = kSrgb;
        parameters.output_bps = kBits;
        parameters.gamm[0] = 1 / 2.4;  // IEC 61966-2-1: the exponent, and the slope at black
        parameters.gamm[1] = 12.92;
        parameters.use_camera_wb = options_.raw.whiteBalance == RawOptions::WhiteBalance::Camera ? 1 : 0;
        parameters.use_auto_wb = options_.raw.whiteBalance == RawOptions::WhiteBalance::Auto ? 1 : 0;
        if (options_.raw.brightness) {
            parameters.no_auto_bright = 1;
            parameters.bright = static_cast<float>(*options_.raw.brightness);
        }
    }

    static bool IsCut(int code) { return code == LIBRAW_IO_ERROR || code == LIBRAW_DATA_ERROR; }
    static void Check(int code) {
        if (code == LIBRAW_SUCCESS) return;
        if (code == LIBRAW_UNSUFFICIENT_MEMORY) throw std::bad_alloc();
        Throw(std::string(IsCut(code) ? "the raw file is truncated or damaged beyond use"
                                      : "the raw file cannot be developed") +
              " (" + (code > 0 ? "system error " + std::to_string(code) : std::string(LibRaw::strerror(code))) + ")");
    }

    const ReadOptions& options_;
    int damages_ = 0;
    std::unique_ptr<LibRaw> raw_;  // half a megabyte
};

class LibRawDecoder final : public RawDecoder {
public:
    ImageSize ReadSize(std::span<const std::uint8_t> bytes, const ReadOptions& options) override {
        RawFile file(bytes, options);
        file.CheckSize();
        return file.GetUprightSize();
    }
    LoadedImage Read(std::span<const std::uint8_t> bytes, const Proc::AllocatorPtr& allocator,
                     const ReadOptions& options) override {
        RawFile file(bytes, options);
        file.CheckSize();
        RawFile::State state = file.Unpack();
        if (state == RawFile::State::Whole) return file.Develop(allocator);
        // LibRaw returns nothing for a truncated file. With the rest replaced by zeros it returns what there is.
        constexpr std::uint64_t kBytesPerPixel = 4, kMore = 1 << 20;
        std::vector<std::uint8_t> filled(bytes.begin(), bytes.end());
        filled.resize(bytes.size() + file.GetPixels() * kBytesPerPixel + kMore);
        RawFile part(filled, options);
        state = part.Unpack();
        const std::string damage = "the raw data is truncated or damaged";
        if (state == RawFile::State::Lost) Throw(damage + " beyond use");
        if (!options.allowTruncated) Throw(damage + "; --allow-truncated reads what there is of it");
        LoadedImage image = part.Develop(allocator);
        image.notes.push_back(damage + "; what is missing is left plain");
        return image;
    }
};

}  // namespace

}  // namespace Orvexa::Io

extern "C" __attribute__((visibility("default"))) Orvexa::Io::RawDecoder& GetRawDecoder() {
    static Orvexa::Io::LibRawDecoder decoder;
    return decoder;
}
