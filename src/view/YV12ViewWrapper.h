/// @file
/// The native view over the view library, PlayerView.so.
#pragma once

#include <kqplayer/records.h>
#include <kqplayer/view.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// Loads the view library, makes one library-side view, and feeds it with 32-bit RGB pictures.
class YV12ViewWrapper final : public IYv12View {
public:
    YV12ViewWrapper();
    /// @return a wrapper that the caller owns, or null without memory
    static YV12ViewWrapper* Make();
    YV12ViewWrapper(const YV12ViewWrapper&) = delete;
    YV12ViewWrapper& operator=(const YV12ViewWrapper&) = delete;
    ~YV12ViewWrapper() override;

    int SetCropMode(unsigned int nMode) override;
    int SetMaskMode(unsigned int nMode) override;
    int SetCallbackWnd(void* pWindow) override;
    int SetCropRect(tagRECT* pRect) override;
    int GetCropRect(tagRECT* pRect) override;
    int SetDisplayResizeMode(IMAGE_RESIZE_METHOD eMethod) override;
    int Update() override;
    void* GetHwnd() override;
    void SetHwnd(void* pWindow) override;
    int Create(void* pParent, const VRECT& rect, unsigned long a, unsigned long b) override;
    int ShowYV12Image(tagBITMAPINFO* pInfo, unsigned char* pBits) override;
    int ShowYUVImage(const tagYUVImage* pImage) override;
    void SetSrcAspectRatio(int x, int y) override;

    /// Tells the library how large the pictures will be.
    void Expect(int nWidth, int nHeight);
    /// Shows a frame as its kind and its colour description say. @return false when it cannot be shown
    bool ShowFrame(const MEDIA_FRAME& frame);

    /// @return whether the library has what the next four need
    bool HasDisplay() const;
    /// What became of a display.
    enum class Displayed {
        Refused,
        Drawn,
        Missing, ///< the picture on show lacks a part of it: to be shown again
    };
    Displayed SetDisplay(const KQViewDisplay* pDisplay);
    bool GetDisplay(KQViewDisplay& display);
    bool GetMapping(KQViewMapping& mapping);
    bool GetShownPixel(int nX, int nY, std::uint32_t& nRgb);

    /// Opens the library and resolves its functions. @return 1; 0 when it is missing or lacks a function, or
    /// without memory
    int LoadPlayerView();
    /// @return 1
    int UnloadPlayerView();

private:
    struct Functions;
    struct AlignedDelete {
        void operator()(unsigned char* p) const;
    };

    bool IsReady() const { return m_pView != nullptr && m_pFunctions != nullptr; }
    /// Finds the functions in the opened library. @return false when it lacks a required one
    bool Resolve();
    void DestroyLibraryView();
    bool FitHeader(int nWidth, int nHeight);
    /// The library's own memory for the next picture where it lends some, otherwise the wrapper's buffer.
    unsigned char* PictureBuffer();
    /// Finds the part that has to be made of a picture in a steady row of them. @return false for all of it
    bool FindPart(int nWidth, int nHeight, tagRECT& part);
    /// A forwarded call: 0 without a view, the view handle as a number without functions.
    template <class Call>
    int Forward(Call call);

    void* m_pLibrary = nullptr;
    std::unique_ptr<Functions> m_pFunctions;
    void* m_pView = nullptr;
    std::unique_ptr<unsigned char[], AlignedDelete> m_pRgb; ///< width * height * 4 bytes, once it is needed
    std::unique_ptr<tagBITMAPINFOHEADER> m_pHeader;
    int m_nCachedWidth = 0;
    int m_nCachedHeight = 0;
    std::uint32_t m_dwShown = 0; ///< when the picture before was, on the wall clock
    bool m_bHasShown = false;
};
