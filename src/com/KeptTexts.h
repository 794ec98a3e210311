/// @file
/// Texts that are kept exactly as they stand, odd spelling, spaces and line ends included: hosts search their
/// logs and the standard output for them. Whoever wants to say something new writes a new text, elsewhere.
/// They are grouped by the class that writes them.
#pragma once

/// Frame capture (CCaptureStore), to the log. The capture to a file puts its reason into kFailed.
namespace CaptureTexts {
inline constexpr wchar_t kFailed[] = L"CMediaPlayer::CaptureCurrentImage Faild,for %ls \n";
inline constexpr wchar_t kNullParam[] = L"Input Param Pointer is Null";
inline constexpr wchar_t kNoStream[] = L"Input videostream Pointer is Null";
inline constexpr wchar_t kNoSample[] = L"Input videostream Can,t Get NULL Sample";
inline constexpr wchar_t kNoInfo[] = L"Input videostream Can,t Get NULL IStreamInfo";
inline constexpr wchar_t kNoFormat[] = L"Input videostream Can,t Get NULL Stream Info";
inline constexpr wchar_t kNoImage[] = L"DICreate() Failed";
inline constexpr wchar_t kNoBits[] = L"DIGetBitmapInfo Get Null  Pointer";
inline constexpr wchar_t kUnknownFrame[] = L" Input Video Frame Format no Support ";
inline constexpr wchar_t kUnknownPicture[] = L" User Request Picture Format no Support ";
inline constexpr wchar_t kCopyWithoutStream[] =
    L"CMediaPlayer::CaptureCurrentImageEx FAILED,For Can't Get Video Stream \n";
inline constexpr wchar_t kCopyWithoutPicture[] =
    L"CMediaPlayer::CaptureCurrentImageEx FAILED,For Can't Get Video Stream inof \n";
} // namespace CaptureTexts

/// The native view (YV12ViewWrapper), to standard output, with the library's path.
namespace ViewTexts {
inline constexpr char kNotLoaded[] = "Failed to Load %s Library!\r\n";
inline constexpr char kLoaded[] = "Successed to Load %s Library!\r\n";
} // namespace ViewTexts
