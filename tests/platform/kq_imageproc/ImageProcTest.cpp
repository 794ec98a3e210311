#include "tests/support/Files.h"
#include "tests/support/WaitUntil.h"

#include <kqplayer/imageproc.h>
#include <kqplayer/log.h>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

using namespace kq::test;
namespace fs = std::filesystem;

namespace {

struct Destroy {
    void operator()(void* image) const { DIDestroy(image); }
};
using Handle = std::unique_ptr<void, Destroy>;

std::uint8_t Smooth(int x, int y, int channel) {
    return static_cast<std::uint8_t>(128 + 100 * std::sin(x * 0.05 + channel) * std::cos(y * 0.04 - channel));
}
std::uint8_t Noisy(int x, int y, int channel) {
    return static_cast<std::uint8_t>((x * 2654435761u ^ y * 340573321u ^ channel * 97u) >> 7);
}
using Pattern = std::uint8_t (*)(int x, int y, int channel); ///< channel 0 is red

void Fill(void* image, int width, int height, Pattern pattern) {
    ASSERT_EQ(DISetContent(image, width, height, 24), 1);
    const std::size_t rowBytes = (width * 24 + 31) / 32 * 4;
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * 3; ++i) {
            DIGetBits(image)[y * rowBytes + i] = pattern(i / 3, y, 2 - i % 3);
        }
    }
}

using Rgb = std::vector<std::uint8_t>; ///< rows from top to bottom without gaps

Rgb ExpectedRgb(int width, int height, Pattern pattern) {
    Rgb rgb(std::size_t{3} * width * height);
    for (int i = 0; i < width * height * 3; ++i) {
        rgb[i] = pattern(i / 3 % width, i / 3 / width, i % 3);
    }
    return rgb;
}

std::string OutputOf(const std::string& command) {
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        output.push_back(static_cast<char>(c));
    }
    pclose(pipe);
    return output;
}

/// @return the picture in a file as another program reads it; empty when it cannot
Rgb ReadRgb(const std::string& path) {
    const std::string pixels =
        OutputOf("ffmpeg -nostdin -v error -i '" + path +
                 "' -sws_flags full_chroma_int+accurate_rnd+bicubic " + "-f rawvideo -pix_fmt rgb24 -");
    return {pixels.begin(), pixels.end()};
}

double Psnr(const Rgb& a, const Rgb& b) {
    double sum = 1e-9;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    }
    return 10 * std::log10(255.0 * 255.0 * a.size() / sum);
}

/// A folder of the test's own, and the log lines that came while it lived.
class ImageProcTest : public testing::Test {
protected:
    ImageProcTest() {
        KQLogSetSink(
            [](const char* text, void* p) { static_cast<std::string*>(p)->append(text).append("\n"); },
            &m_log);
    }
    ~ImageProcTest() override { KQLogSetSink(nullptr, nullptr); }
    std::size_t FilesInFolder() const { return m_temporary.CountFiles(); }

    const TemporaryFolder m_temporary;
    const fs::path m_folder = m_temporary / "";
    std::string m_log;
};

TEST_F(ImageProcTest, ContentHasTheDocumentedShape) {
    const Handle image(DICreate());
    EXPECT_EQ(DIGetBits(image.get()), nullptr);
    EXPECT_EQ(DIGetBitmapInfo(image.get()), nullptr);
    ASSERT_EQ(DISetContent(image.get(), 1921, 3, 24), 1);
    EXPECT_EQ(DIGetWidth(image.get()), 1921);
    EXPECT_EQ(DIGetHeight(image.get()), 3);
    const tagBITMAPINFOHEADER expected = {40, 1921, 3, 1, 24, 0, 5764u * 3, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(DIGetBitmapInfo(image.get()), &expected, sizeof(expected)), 0);
    const unsigned char* bits = DIGetBits(image.get());
    EXPECT_EQ(std::vector<unsigned char>(bits, bits + 5764 * 3), std::vector<unsigned char>(5764 * 3));

    const struct {
        int width, height, bits;
    } refused[] = {{0, 1, 24}, {1, 0, 24}, {-1, 1, 24},    {1, -1, 24},
                   {1, 1, 32}, {1, 1, 8},  {65501, 1, 24}, {65500, 65500, 24}};
    for (const auto& r : refused) {
        ASSERT_EQ(DISetContent(image.get(), 4, 4, 24), 1);
        EXPECT_EQ(DISetContent(image.get(), r.width, r.height, r.bits), 0) << r.width << 'x' << r.height;
        EXPECT_EQ(DIGetWidth(image.get()), 0);
        EXPECT_EQ(DIGetHeight(image.get()), 0);
        EXPECT_EQ(DIGetBits(image.get()), nullptr);
    }
    EXPECT_EQ(DISetContent(nullptr, 1, 1, 24), 0);
    EXPECT_EQ(DIGetWidth(nullptr) + DIGetHeight(nullptr), 0);
    EXPECT_EQ(DIGetBits(nullptr), nullptr);
    EXPECT_EQ(DIGetBitmapInfo(nullptr), nullptr);
    DIDestroy(nullptr);
}

struct Format {
    const wchar_t* mimeType;
    bool isBuiltIn, isLossless;
};

constexpr Format formats[] = {
    {L"image/bmp", true, true}, {L"image/png", KQ_HAVE_PNG, true}, {L"image/jpeg", KQ_HAVE_JPEG, false}};

TEST_F(ImageProcTest, FilesHoldThePicture) {
    const std::string path = m_folder / u8"Größe \u65E5\u672C \U0001F3AC";
    const std::wstring widePath = m_folder.wstring() + L"/Größe \u65E5\u672C \U0001F3AC";
    for (const Format& format : formats) {
        for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {17, 9}, {640, 361}}) {
            const Handle image(DICreate());
            const Pattern pattern = format.isLossless ? Noisy : Smooth;
            Fill(image.get(), width, height, pattern);
            const int saved = DISaveEx(image.get(), widePath.c_str(), format.mimeType);
            if (!format.isBuiltIn) {
                EXPECT_EQ(saved, 0);
                EXPECT_NE(m_log.find("not built in"), std::string::npos) << m_log;
                continue;
            }
            ASSERT_EQ(saved, 1) << m_log;
            EXPECT_EQ(FilesInFolder(), 1u);
            const Rgb read = ReadRgb(path);
            const Rgb expected = ExpectedRgb(width, height, pattern);
            ASSERT_EQ(read.size(), expected.size());
            if (format.isLossless) {
                EXPECT_EQ(read, expected);
            } else {
                EXPECT_GT(Psnr(read, expected), 40) << width;
            }
            if (&format == formats) { // what tolerant readers of BMP do not look at
                std::uint32_t size = 0;
                std::memcpy(&size, ReadFile(path).data() + 2, sizeof(size));
                EXPECT_EQ(size, fs::file_size(path));
            }
        }
    }
}

TEST_F(ImageProcTest, FilesSayThatTheyAreSrgb) {
    const fs::path path = m_folder / "picture";
    const Handle image(DICreate());
    Fill(image.get(), 24, 17, Smooth);
    const std::string read = "ffprobe -v error -show_frames '" + path.string() + "'";
    if (KQ_HAVE_PNG) {
        ASSERT_EQ(DISaveEx(image.get(), path.wstring().c_str(), L"image/png"), 1);
        const std::string facts = OutputOf(read); // gamma and primaries, for readers without the chunk
        EXPECT_NE(facts.find("gamma=45455/100000"), std::string::npos) << facts;
        EXPECT_NE(facts.find("red_x=64000/100000"), std::string::npos) << facts;
        const std::string file = ReadFile(path);
        EXPECT_LT(file.find("sRGB"), file.find("IDAT"));
    }
    if (KQ_HAVE_JPEG) {
        ASSERT_EQ(DISaveEx(image.get(), path.wstring().c_str(), L"image/jpeg"), 1);
        std::string facts = OutputOf(read);
        facts.erase(std::remove(facts.begin(), facts.end(), ' '), facts.end());
        EXPECT_NE(facts.find("TAG:ColorSpace=1\n"), std::string::npos) << facts;
        EXPECT_NE(facts.find("TAG:ExifVersion=48,50,51,48\n"), std::string::npos) << facts;
    }
}

TEST_F(ImageProcTest, FilesHaveTheModeThatTheUserAllows) {
    const fs::path path = m_folder / "picture";
    const Handle image(DICreate());
    Fill(image.get(), 5, 5, Noisy);
    const mode_t before = umask(0);
    for (const auto& [mask, mode] : {std::pair{0u, 0666u}, {022u, 0644u}, {077u, 0600u}, {0u, 0666u}}) {
        umask(mask);
        EXPECT_EQ(DISaveEx(image.get(), path.wstring().c_str(), L"image/bmp"), 1);
        EXPECT_EQ(static_cast<unsigned>(fs::status(path).permissions()), mode) << "over the one before";
    }
    umask(before);
}

TEST_F(ImageProcTest, FailuresAreLoggedAndLeaveNothing) {
    const std::wstring folder = m_folder.wstring();
    std::ofstream(m_folder / "file") << "content";
    fs::create_directory(m_folder / "folder");
    const Handle image(DICreate());
    const Handle empty(DICreate());
    Fill(image.get(), 5, 5, Noisy);
    const struct {
        void* image;
        bool hasPath;
        std::wstring path;
        const wchar_t* mimeType;
        const char* reason;
    } cases[] = {
        {image.get(), true, folder + L"/missing/a.bmp", L"image/bmp", "No such file or directory"},
        {image.get(), true, folder + L"/file/a.bmp", L"image/bmp", "Not a directory"},
        {image.get(), true, folder + L"/folder", L"image/bmp", "it is a folder"},
        {image.get(), true, L"/dev/full", L"image/bmp", "not a regular file"},
        {image.get(), true, folder + L"/" + std::wstring(300, L'n'), L"image/bmp", "File name too long"},
        {image.get(), true, folder + L"/a.tiff", L"image/tiff", "the format is not known"},
        {image.get(), true, folder + L"/a.bmp", nullptr, "no format was given"},
        {image.get(), true, folder + L"/\xD800.bmp", L"image/bmp", "the path is not Unicode"},
        {image.get(), true, L"", L"image/bmp", "no path was given"},
        {image.get(), false, L"", L"image/bmp", "no path was given"},
        {empty.get(), true, folder + L"/a.bmp", L"image/bmp", "the image is empty"},
        {nullptr, true, folder + L"/a.bmp", L"image/bmp", "the image is empty"},
    };
    for (const auto& c : cases) {
        m_log.clear();
        EXPECT_EQ(DISaveEx(c.image, c.hasPath ? c.path.c_str() : nullptr, c.mimeType), 0);
        EXPECT_NE(m_log.find(c.reason), std::string::npos) << m_log;
        EXPECT_EQ(std::count(m_log.begin(), m_log.end(), '\n'), 1) << m_log;
        const std::wstring ascii = c.path.substr(0, c.path.find(L'\xD800'));
        EXPECT_NE(m_log.find(std::string(ascii.begin(), ascii.end())), std::string::npos) << m_log;
        EXPECT_EQ(FilesInFolder(), 2u);
    }
    EXPECT_EQ(ReadFile(m_folder / "file"), "content");
    EXPECT_EQ(access("/dev/full", F_OK), 0);
}

/// No file of this process may become longer than @p bytes while the object lives: writing fails half-way, as
/// it does on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before = {};
    void (*m_handler)(int);
};

TEST_F(ImageProcTest, AFullDiskLeavesTheFormerFile) {
    const fs::path path = m_folder / "picture";
    const Handle image(DICreate());
    for (const Format& format : formats) {
        if (!format.isBuiltIn) {
            continue;
        }
        Fill(image.get(), 40, 30, Smooth);
        ASSERT_EQ(DISaveEx(image.get(), path.wstring().c_str(), format.mimeType), 1);
        const std::string former = ReadFile(path);
        Fill(image.get(), 700, 500, Noisy);
        // At the first byte, within a block, and in the last block that is written.
        for (const rlim_t limit : {0, 100000, 140000}) {
            m_log.clear();
            int saved = -1;
            {
                const FileSizeLimit full(limit);
                saved = DISaveEx(image.get(), path.wstring().c_str(), format.mimeType);
            }
            EXPECT_EQ(saved, 0) << limit;
            EXPECT_NE(m_log.find(path.string()), std::string::npos) << m_log;
            EXPECT_NE(m_log.find("File too large"), std::string::npos) << m_log;
            EXPECT_EQ(ReadFile(path), former);
            EXPECT_EQ(FilesInFolder(), 1u);
        }
    }
}

TEST_F(ImageProcTest, ThreadsSavingUnderOneNameLeaveOneWholeFile) {
    const fs::path path = m_folder / "shared.bmp";
    RunThreads(4, [&](int) {
        const Handle image(DICreate());
        Fill(image.get(), 64, 64, Noisy);
        for (int n = 0; n < 20; ++n) {
            EXPECT_EQ(DISaveEx(image.get(), path.wstring().c_str(), L"image/bmp"), 1);
        }
    });
    EXPECT_EQ(FilesInFolder(), 1u);
    EXPECT_EQ(ReadRgb(path), ExpectedRgb(64, 64, Noisy));
}

} // namespace
