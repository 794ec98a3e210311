/// @file
/// The native view over the view library, PlayerView.so.
#pragma once

#include <kqplayer/view.h>

#include <cstddef>
#include <memory>
#include <string>

/// Loads the view library, makes one library-side view, and feeds it with 32-bit RGB pictures.
class YV12ViewWrapper final : public IYv12View {
public:
    YV12ViewWrapper();
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
};
