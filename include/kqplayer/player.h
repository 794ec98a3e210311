/// @file
/// The player and its views, as a host uses them.
///
/// Threads. Any host thread may call these interfaces. The callback runs on the player's own playback thread:
/// Stop(), Load() and SyncSeek() wait for that thread, so inside the callback they log a line and return 1.
/// Play() is allowed there, also at the end of play, which is how a host loops.
///
/// Units. Times are seconds as doubles. Positions are relative to the begin of the play range (SetPlayTime).
///
/// Ownership. Interface pointers that these calls hand out carry one reference.
#pragma once

#include "com.h"
#include "records.h"
#include "streams.h"

#include <cstdint>

/// The one message code of the host callback.
inline constexpr unsigned int PLAYER_NOTIFY = 3025;

/// Second argument of the host callback.
enum : unsigned int {
    KQ_NOTIFY_POSITION = 1, ///< the position changed; the third argument is for KQPlayedTime()
    KQ_NOTIFY_END = 2,      ///< the run has ended; the third argument is 0
};

/// What IMediaPlayer::IsActivate() returns.
enum : int {
    KQ_ACTIVATE_STOPPED = 0,
    KQ_ACTIVATE_PLAYING = 1,
    KQ_ACTIVATE_PAUSED = 2, ///< paused, or loaded
    KQ_ACTIVATE_ENDED = 3,
};

/// Called on the playback thread with (user data, PLAYER_NOTIFY, what, argument). The result is ignored.
/// While it runs, playback waits: a callback that returns late delays the next picture.
using KQPlayerCallback = long (*)(void* pUserData, unsigned int nMessage, unsigned int nWhat,
                                  unsigned int nArgument);

/// Turns the third argument of a position callback into the position in seconds. Valid during the callback.
/// (The argument is the address of a double that the player keeps in the low 4 GiB of the address space.)
inline double KQPlayedTime(unsigned int nArgument) {
    return *reinterpret_cast<const double*>(static_cast<std::uintptr_t>(nArgument));
}

/// One view: a native window, at most one video stream, and a small integer, its source mode.
struct IPlayerView : IUnknown {
    /// Attaches a stream, or detaches the present one with a null @p pStream.
    /// @param pStream     the stream, of which the view takes a reference; null for none
    /// @param nSourceMode the view's source mode. The stream of the view whose mode equals the player's
    ///        reference number paces playback; that number is 0 with exactly two views, otherwise 1.
    /// @return 0; 1 when the stream gives no video information, 0x80000002 without memory: the view then
    /// holds no
    ///         stream
    virtual std::int32_t SetVideoInput(int nSourceMode, IMediaStream* pStream) = 0;
    /// Does nothing. @return 1
    virtual std::int32_t SetParentWND(void* pWindow) = 0;
    /// @return the parent window given at creation
    virtual void* GetParentWND() = 0;
    /// Stores a rectangle for GetRect(). The window is not moved: a host moves the window that GetWND()
    /// returns. @return 0
    virtual std::int32_t SetRect(const tagRECT& rect) = 0;
    /// @return the rectangle as the host gave it last
    virtual tagRECT GetRect() = 0;
    /// @return the view's index, which GetItem() and Remove() of the view manager take
    virtual int GetIndex() = 0;
    /// @return the native window that shows the view (an X11 window id), null for an off-screen view
    virtual void* GetWND() = 0;

protected:
    ~IPlayerView() = default;
};

/// What a view shows of its pictures, for looking closely: QueryInterface() of a view gives it, with
/// IID_IPlayerView2. It may be called from any thread, at any time.
///
/// The operations need a view library that can do this, as the PlayerView.so of this package can. With
/// another one, and on a view whose manager is gone, they return 0x80000008 and change nothing. Captures and
/// picture sinks are not concerned: they get whole pictures.
struct IPlayerView2 : IPlayerView {
    /// Sets the part that is shown, the scaling and the placement, in one step. The picture on show is drawn
    /// again at once, also while paused. While pictures come ten times a second or faster, a part of which
    /// not every pixel has been made yet is drawn with the next picture.
    ///
    /// The part counts in pixels of the picture on show, or, before the first one, of that. Pictures of
    /// another size show the same place: for one of twice the size the part is twice as large.
    /// @param pDisplay what is to be shown; null: the whole picture, in default scaling, fitted
    /// @return 0; 1 with nothing changed for a part that is turned over, empty but not all zero, or not
    ///         within 2^20 pixels on all sides, and for a scaling or placement that does not exist
    virtual std::int32_t SetDisplay(const KQViewDisplay* pDisplay) = 0;
    /// @param pDisplay receives what was set, its part in pixels of the picture on show
    /// @return 0; 0x80000005 for null
    virtual std::int32_t GetDisplay(KQViewDisplay* pDisplay) = 0;
    /// Tells where the picture on show lies in the window. After a resize of the window it holds as soon as
    /// the view has drawn itself again.
    /// @param pMapping receives it; untouched on failure
    /// @return 0; 1 before the first picture; 0x80000005 for null
    virtual std::int32_t GetMapping(KQViewMapping* pMapping) = 0;
    /// @param dX,dY     a position in the view's window, pixels; the centre of pixel n is at n + 0.5
    /// @param pPosition receives the position in the picture, pixels, which may lie outside of it
    /// @return as GetMapping()
    virtual std::int32_t WindowToPicture(double dX, double dY, KQPointF* pPosition) = 0;
    /// The other way round.
    /// @param dX,dY     a position in the picture, pixels
    /// @param pPosition receives the position in the view's window, pixels, which may lie outside of it
    /// @return as GetMapping()
    virtual std::int32_t PictureToWindow(double dX, double dY, KQPointF* pPosition) = 0;
    /// Reads a pixel of the picture on show, as it is before any scaling.
    /// @param nX,nY column and row in the picture
    /// @param pnRgb receives 0x00RRGGBB; untouched on failure
    /// @return 0; 1 without a picture, for a pixel outside of it or one that is not on show, and for a view
    ///         without a window; 0x80000005 for null
    virtual std::int32_t GetShownPixel(std::int32_t nX, std::int32_t nY, std::uint32_t* pnRgb) = 0;

protected:
    ~IPlayerView2() = default;
};

/// The views of one player. A view's window goes with the manager. A reference that a host still holds then
/// is one on an empty view: it has no window and no stream, and SetVideoInput() returns 1.
struct IPlayerViewMgr : IUnknown {
    /// Makes a view.
    /// @param pParent X11 window that becomes the view's parent, as a pointer-sized id; null for a window of
    ///        its own; 1 for an off-screen view
    /// @param rect placement inside the parent, in pixels
    /// @return the view with one reference, or null when PlayerView.so is missing or refuses the window
    virtual IPlayerView* CreatePlayView(void* pParent, const tagRECT& rect) = 0;
    /// @return the number of views
    virtual int GetCount() = 0;
    /// Takes a view out. References that the host holds keep it alive. Indices are never used again.
    /// @return 0, whether or not there was such a view; 1 for a negative index
    virtual std::int32_t Remove(int nIndex) = 0;
    /// @param nIndex the view's index, see IPlayerView::GetIndex()
    /// @param ppView receives the view with one reference; untouched on failure
    /// @return 0, or 0x80000008 when no view has that index
    virtual std::int32_t GetItem(int nIndex, IPlayerView** ppView) = 0;

protected:
    ~IPlayerViewMgr() = default;
};

/// The player. Made by the class factory for CLSID_CMediaPlayer; releasing the last reference stops it.
struct IMediaPlayer : IUnknown {
    /// @return the longer of the video's (frame count / frame rate) and the audio's duration, in seconds; 0
    ///         when there is no stream or the reference stream gives no information
    virtual double GetMovieLength() = 0;
    /// Sets the play range.
    /// @param dBegin begin in stream seconds
    /// @param dLength length in seconds; 0 or less: up to the end of the reference stream
    /// @return 0; 1 when the length must come from the stream and the stream gives no information
    virtual std::int32_t SetPlayTime(double dBegin, double dLength) = 0;
    /// Registers the callback; null turns it off. A call that is being made at that moment still completes.
    /// @return 0
    virtual std::int32_t SetCallBack(KQPlayerCallback pfnCallBack, void* pUserData) = 0;
    /// @return 0, with one reference in @p ppMgr; 0x80000008 and null when there is no view manager;
    ///         0x80000005 for a null @p ppMgr
    virtual std::int32_t GetPlayerViewMgr(IPlayerViewMgr** ppMgr) = 0;
    /// @return 0 stopped, 1 playing, 2 paused or loaded, 3 ended
    virtual int IsActivate() = 0;
    /// Ends the run and waits for the playback thread; every view then shows black. @return 0, or 1 from
    /// inside the callback
    virtual std::int32_t Stop() = 0;
    /// Starts a run from the begin of the play range, or resumes a paused one.
    /// @return 0; 1 when there is neither a reference stream nor an audio stream
    virtual std::int32_t Play() = 0;
    /// Pauses; the loop notices within about a millisecond. @return 0
    virtual std::int32_t Pause() = 0;
    /// Undoes one Pause(). @return 0
    virtual std::int32_t Resume() = 0;
    /// Moves the position: at once when no run is active, otherwise as soon as the loop takes the request.
    /// Only the most recent request counts; a time below 0 is ignored.
    /// @param dTime seconds from the begin of the play range
    /// @param nMode handed to IMediaStream::Seek(): 1 exact, 0 key frame
    /// @return 0
    virtual std::int32_t Seek(double dTime, int nMode) = 0;
    /// Seek() that returns when the request has been carried out, or can no longer be because the run ended.
    /// @return 0, or 1 from inside the callback
    virtual std::int32_t SyncSeek(double dTime, int nMode) = 0;
    /// Steps one frame while paused; otherwise ignored. @return 0
    virtual std::int32_t Forward() = 0;
    /// As Forward(); returns before the step is made. @return 0
    virtual std::int32_t SyncForward() = 0;
    /// Redraws while paused.
    /// @param nImmediate non-zero: on the caller's thread, now; 0: by the loop, within about a millisecond
    /// @return 0; 1 while playing (the loop redraws anyway); 0x80000008 without a reference stream
    virtual std::int32_t Update(int nImmediate) = 0;
    /// Writes the reference stream's current picture to a file, on the caller's thread.
    /// @param pInfo picture format, see CaptureImageInfo
    /// @param pPath path of the file; the file appears whole or not at all
    /// @return 0 once the picture was handed to the image library, whose log line tells when the file could
    ///         not be written; 0x80000008, with a log line that says why, when there is no picture to write
    ///         or no such format
    virtual std::int32_t CaptureCurrentImage(const CaptureImageInfo* pInfo, const wchar_t* pPath) = 0;
    /// Copies the reference stream's current picture.
    /// @return a planar frame that the player owns, valid until the next call with another picture size or
    ///         until the player is destroyed; null when there is no picture
    virtual MEDIA_FRAME* CaptureCurrentImageEx() = 0;
    /// Opens a run paused on its first frame, stopping the present run first. @return 0, or 1 from inside the
    /// callback
    virtual std::int32_t Load() = 0;
    /// @return true while a posted seek waits to be taken
    virtual bool IsSeeking() = 0;
    /// @return true once the loop has entered its pause, until it has left it
    virtual bool IsPaused() = 0;

protected:
    ~IMediaPlayer() = default;
};

/// What else a player can do: QueryInterface() of a player gives it, with IID_IMediaPlayer2. It may be called
/// from any thread, at any time, also inside the callback. A view that is named has to be one of the
/// player's, as CreatePlayView() and GetItem() hand it out.
struct IMediaPlayer2 : IMediaPlayer {
    /// Tells where the player stands, with or without a run: what is on show or being heard. After a run that
    /// has ended by itself that is its last picture (or the end of its sound), after Stop() the place where
    /// it was stopped, after a seek without a run the place that was reached. A seek that waits to be taken
    /// counts once it is (see IsSeeking()).
    /// @return seconds from the begin of the play range, never negative
    virtual double GetPosition() = 0;
    /// Sets the loudness of this player, in runs that play and in all later ones. It is heard within about
    /// 10 ms; what the host sets on OpenAL's listener stays as it is.
    /// @param dVolume factor on the samples, from 0 (silent) to 1 (unchanged), where a player begins
    /// @return 0; 1 with nothing changed for any other number
    virtual std::int32_t SetVolume(double dVolume) = 0;
    /// @return the volume as it was set last, also while muted
    virtual double GetVolume() = 0;
    /// Silences the player, or lets it be heard at its volume again; for later runs, too.
    /// @param bMute non-zero: silent
    /// @return 0
    virtual std::int32_t SetMute(int bMute) = 0;
    /// @return true while muted
    virtual bool IsMuted() = 0;
    /// Steps one picture back, exactly, while paused or without a run; otherwise ignored. Returns before the
    /// step is made in a pause, and stops at the begin of the play range. Several calls are several steps.
    /// @return 0
    virtual std::int32_t Backward() = 0;
    /// Sets how pictures are placed in a view's window; the picture on show is drawn again at once. Part and
    /// scaling that were set with IPlayerView2::SetDisplay() stay; a later SetDisplay() sets the placement
    /// anew.
    /// @param pView   the view; null: every view that there is
    /// @param nResize one of IMAGE_RESIZE_METHOD
    /// @return 0; 1 with nothing changed for another number; 0x80000008 for a view of somebody else's, and
    ///         when a view library refuses
    virtual std::int32_t SetResize(IPlayerView* pView, std::int32_t nResize) = 0;
    /// Writes the current picture of a view's stream to a file, on the caller's thread: what the view shows
    /// while paused or without a run, during play what is due next. The whole picture, in its own size.
    /// @param pView   the view; null: the one whose stream paces playback
    /// @param nFormat one of KQ_CAPTURE_…
    /// @param pPath   path of the file in UTF-8; the file appears whole or not at all
    /// @return 0 once the file is there; otherwise a log line says why: 1 for an unknown format, 0x80000005
    ///         for a null path, 0x80000008 without a picture, for a view of somebody else's, for a path that
    ///         is not UTF-8, and when the file cannot be written
    virtual std::int32_t CaptureViewToFile(IPlayerView* pView, std::int32_t nFormat, const char* pPath) = 0;
    /// Copies the same picture as RGB.
    /// @param pView    the view; null: the one whose stream paces playback
    /// @param nLayout  one of KQ_PIXELS_…
    /// @param pPicture receives the pixels, which belong to the caller from then on, also when the player has
    ///                 gone, and are given back with KQReleasePicture(); all zero on failure
    /// @return 0; 1 for an unknown layout; 0x80000002 without memory; 0x80000005 for null; 0x80000008, with a
    ///         log line, without a picture and for a view of somebody else's
    virtual std::int32_t CaptureView(IPlayerView* pView, std::int32_t nLayout, KQPicture* pPicture) = 0;

protected:
    ~IMediaPlayer2() = default;
};

/// Frees the pixels of a captured picture, and clears the record. Any thread.
/// @param pPicture as IMediaPlayer2::CaptureView() has filled it; null and cleared ones are ignored
KQ_EXTERN_C void KQReleasePicture(KQPicture* pPicture);

/// The player's audio input, asked from the player with QueryInterface(IID_IAudioInput).
struct IAudioInput : IUnknown {
    /// Attaches the audio stream for the next run; a stream that gives no audio information is not kept. With
    /// null the stream is dropped and the play range is reset.
    /// @return 0
    virtual std::int32_t SetAudioInput(IMediaStream* pStream) = 0;

protected:
    ~IAudioInput() = default;
};
