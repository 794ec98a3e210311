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

/// The player and its runs (CMediaPlayer, PlaybackRun): the wide ones to the log, the others to standard
/// output.
namespace PlayerTexts {
inline constexpr wchar_t kNoStream[] = L"CMediaPlayer::Play() Error:No  Any Stream \r\n";
inline constexpr wchar_t kPlayResumes[] = L"PlayerControl::Play() Statat Is Pause(),So Resume().\r\n";
inline constexpr wchar_t kStop[] = L" CMediaPlayer::Stop \n";
inline constexpr wchar_t kLoad[] = L" CMediaPlayer::Load \n";
inline constexpr wchar_t kSetPlayTime[] = L"CMediaPlayer::SetPlayTime : begintime = %.2f ,beginlen = %.2f \n";
inline constexpr wchar_t kSetAudioInput[] = L" CMediaPlayer::SetAudioInput \n";
inline constexpr wchar_t kSoundMade[] = L"KQPLAYER SVC ; Create SoundPlayer Successful \n";
inline constexpr wchar_t kEndOfPlay[] = L"PlayerControl::svc End of Play.\n";
inline constexpr char kSoughtInPause[] =
    "thead PAUSE change audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n";
inline constexpr char kSoughtOnResume[] =
    "thead state change audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n";
inline constexpr char kSoughtInPlay[] = "play stat audio seek time = %.3f,dcurrtime = %.3f seektime = %.3f\n";
inline constexpr char kEndOfRange[] = "m_dPlayedTime >= m_dPlayLength  %f, %f Exit.\r\n";
} // namespace PlayerTexts

/// The sound player (SoundPlayer), to standard output.
namespace SoundTexts {
inline constexpr char kError[] = "\n [%s]: %d errnum = %xd ";
inline constexpr char kOpen[] = "SoundPlayer::Open : samplerate = %d ,nchannels = %d ,nbit = %d \n ";
inline constexpr char kPlayBegins[] = " soundplayer:: player begin ";
inline constexpr char kNoBuffer[] = "soundplayer:: player buffer isn't ready \n  ";
inline constexpr char kPlayResumes[] = "soundplayer:: player  resume ";
inline constexpr char kPlayStarts[] = "soundplayer:: player  start ";
inline constexpr char kPlayEnds[] = " soundplayer:: player end ";
inline constexpr char kPauseBegins[] = " soundplayer:: Pause begin ";
inline constexpr char kPauseEnds[] = " soundplayer:: Pause end ";
inline constexpr char kThreadBegins[] = " ================ svc sound begin thread ==================\n";
inline constexpr char kThreadEnds[] = " ================ svc sound exit thread ==================\n";
inline constexpr char kPositionFell[] = " less than last pos -----------------%d=   %d=     %d =  \n ";
inline constexpr char kStopBegins[] = " soundplayer:: Stop begin ";
inline constexpr char kStopEnds[] = " soundplayer:: Stop  end ";
inline constexpr char kCloseBegins[] = " soundplayer:: Close begin ";
inline constexpr char kCloseEnds[] = " soundplayer:: Close end ";
} // namespace SoundTexts
