// JPEG files through libjpeg-turbo: grey and colour. Written at quality 90.
//
// libjpeg leaves a failing call by its error handler, which must not return: it jumps back to attempt(), whose frames
// own nothing, so that no destructor is jumped over; the failure is thrown outside.

#include <cstddef>
#include <cstdio>
// jpeglib.h asks for both of the above.
#include <jerror.h>
#include <jpeglib.h>

#include <csetjmp>
#include <cstring>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "outfile.h"
#include "progress.h"

namespace ravo {

namespace {

constexpr int kQuality = 90;
constexpr double kCentimetresPerInch = 2.54;

struct Errors {
    jpeg_error_mgr manager;  // first: the library hands back its address
    std::jmp_buf back;
    char text[JMSG_LENGTH_MAX];
};

[[noreturn]] void leave(j_common_ptr pState) {
    auto& errors = *reinterpret_cast<Errors*>(pState->err);
    pState->err->format_message(pState, errors.text);
    std::longjmp(errors.back, 1);
}

// Warnings tell of damage that the decoder papers over; only those about odd but whole files are let pass.
void onMessage(j_common_ptr pState, int nLevel) {
    if (nLevel >= 0) return;
    switch (pState->err->msg_code) {
        case JWRN_ADOBE_XFORM:
        case JWRN_EXTRANEOUS_DATA:
        case JWRN_JFIF_MAJOR:
        case JWRN_TOO_MUCH_DATA:
            return;
        default:
            leave(pState);
    }
}

void onOutput(j_common_ptr) {}

// A decompressor or compressor: State is jpeg_decompress_struct or jpeg_compress_struct.
template <class State>
class Jpeg {
    Errors m_errors{};

public:
    State state{};

    explicit Jpeg(void (*create)(State*)) {
        state.err = jpeg_std_error(&m_errors.manager);
        m_errors.manager.error_exit = leave;
        m_errors.manager.emit_message = onMessage;
        m_errors.manager.output_message = onOutput;
        attempt([&] { create(&state); });
    }
    Jpeg(const Jpeg&) = delete;
    Jpeg& operator=(const Jpeg&) = delete;
    ~Jpeg() { jpeg_destroy(reinterpret_cast<j_common_ptr>(&state)); }

    // The body calls the library and owns nothing.
    template <class Body>
    void attempt(Body&& body) {
        if (!run(body))
            throw Failure(std::string(state.is_decompressor ? "is damaged: " : "cannot be written: ") + m_errors.text);
    }

private:
    template <class Body>
    bool run(Body& body) noexcept {
        if (setjmp(m_errors.back)) return false;
        body();
        return true;
    }
};

bool recognises(const uint8_t* pStart, size_t nBytes) {
    return nBytes >= 3 && pStart[0] == 0xFF && pStart[1] == 0xD8 && pStart[2] == 0xFF;
}

// ---- reading -----------------------------------------------------------------------------------------------------

// The orientation tag of a camera's block, 1 to 8; 1 if there is none. The block is "Exif\0\0" and a small TIFF file.
int32_t cameraOrientation(const jpeg_decompress_struct& state) noexcept {
    for (const jpeg_marker_struct* p = state.marker_list; p; p = p->next) {
        if (p->marker != JPEG_APP0 + 1 || p->data_length < 14 || std::memcmp(p->data, "Exif\0\0", 6) != 0) continue;
        const uint8_t* pTiff = p->data + 6;
        const size_t nSize = p->data_length - 6;
        const bool bBig = pTiff[0] == 'M';
        const auto word = [&](size_t n) {
            return uint32_t(bBig ? pTiff[n] << 8 | pTiff[n + 1] : pTiff[n + 1] << 8 | pTiff[n]);
        };
        const size_t nDirectory = bBig ? size_t(word(4)) << 16 | word(6) : size_t(word(6)) << 16 | word(4);
        if (nDirectory > nSize - 2) return 1;
        const size_t nEntries = word(nDirectory);
        for (size_t i = 0; i < nEntries && nDirectory + 2 + (i + 1) * 12 <= nSize; ++i) {
            const size_t nEntry = nDirectory + 2 + i * 12;
            if (word(nEntry) == 0x0112 && word(nEntry + 2) == 3) {
                const uint32_t nValue = word(nEntry + 8);
                return nValue >= TOP_LEFT && nValue <= LEFT_BOTTOM ? int32_t(nValue) : TOP_LEFT;
            }
        }
    }
    return TOP_LEFT;
}

Picture load(const std::string& path) {
    const File input = openFile(path, "rb");
    Jpeg<jpeg_decompress_struct> file([](jpeg_decompress_struct* p) { jpeg_create_decompress(p); });
    auto& state = file.state;
    file.attempt([&] {
        jpeg_stdio_src(&state, input.get());
        jpeg_save_markers(&state, JPEG_APP0 + 1, 0xFFFF);
        jpeg_read_header(&state, TRUE);
    });
    checkSize(state.image_width, state.image_height);
    if (state.jpeg_color_space == JCS_CMYK || state.jpeg_color_space == JCS_YCCK)
        throw Failure("is a CMYK JPEG file, which is not supported: convert it to RGB or grey first");
    const bool bGray = state.jpeg_color_space == JCS_GRAYSCALE;
    state.out_color_space = bGray ? JCS_GRAYSCALE : JCS_RGB;
    file.attempt([&] { jpeg_start_decompress(&state); });
    const auto nWidth = int32_t(state.output_width), nHeight = int32_t(state.output_height);
    const int32_t nView = cameraOrientation(state);
    Picture picture(nWidth, nHeight, bGray ? 8 : 24, ORDER_RGB, bGray ? grayPalette(8) : Palette(), nView);
    if (uint32_t(state.output_components) != (bGray ? 1u : 3u)) throw Failure("has an unknown colour space");
    if (state.density_unit == 1 || state.density_unit == 2) {
        const double dUnits = state.density_unit == 2 ? kCentimetresPerInch : 1;
        if (const int32_t n = dotsPerInch(state.X_density, dUnits)) picture->XResolution = n;
        if (const int32_t n = dotsPerInch(state.Y_density, dUnits)) picture->YResolution = n;
    }

    Row row(picture->BytesPerLine);
    JSAMPROW pRow = row.data();
    const Access lock(picture);
    for (int32_t y = 0; y < nHeight; ++y) {
        file.attempt([&] { jpeg_read_scanlines(&state, &pRow, 1); });
        putRow(picture, row.data(), y);
        Progress::report(y + 1, nHeight);
    }
    file.attempt([&] { jpeg_finish_decompress(&state); });
    return picture;
}

// ---- writing -----------------------------------------------------------------------------------------------------

void save(Picture& picture, const std::string& path) {
    const bool bGray = picture->Order == ORDER_GRAY || isGrayPalette(picture.palette());
    const Form form{bGray ? 0 : 24, ORDER_RGB};
    RowSource source(picture, form);
    if (source.width() > JPEG_MAX_DIMENSION || source.height() > JPEG_MAX_DIMENSION)
        throw Failure("cannot be written: a JPEG file has at most " + std::to_string(JPEG_MAX_DIMENSION) +
                      " pixels a side");
    const auto density = [](int32_t n) { return UINT16(n > 0 && n <= 65535 ? n : 0); };

    File output = openFile(path, "wb");
    Jpeg<jpeg_compress_struct> file([](jpeg_compress_struct* p) { jpeg_create_compress(p); });
    auto& state = file.state;
    file.attempt([&] {
        jpeg_stdio_dest(&state, output.get());
        state.image_width = JDIMENSION(source.width());
        state.image_height = JDIMENSION(source.height());
        state.input_components = bGray ? 1 : 3;
        state.in_color_space = bGray ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&state);
        jpeg_set_quality(&state, kQuality, TRUE);
        state.optimize_coding = TRUE;
        state.X_density = density(source.xResolution());
        state.Y_density = density(source.yResolution());
        state.density_unit = state.X_density && state.Y_density ? 1 : 0;
        if (!state.density_unit) state.X_density = state.Y_density = 1;
        jpeg_start_compress(&state, TRUE);
    });
    for (int32_t y = 0; y < source.height(); ++y) {
        JSAMPROW pRow = source.row(y);
        file.attempt([&] { jpeg_write_scanlines(&state, &pRow, 1); });
        Progress::report(y + 1, source.height());
    }
    file.attempt([&] { jpeg_finish_compress(&state); });
    if (std::fclose(output.release()) != 0) throw Failure("cannot be written");
}

}  // namespace

const Format kJpeg{"JPEG", ".jpg .jpeg", recognises, load, save};

}  // namespace ravo
