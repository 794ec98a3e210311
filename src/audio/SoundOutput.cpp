#include "audio/SoundOutput.h"

#include "audio/SoundPlayer.h"

#include <atomic>
#include <new>

namespace {

std::unique_ptr<SoundOutput> MakeSoundPlayer(IMediaStream* pStream) {
    return std::unique_ptr<SoundOutput>(new (std::nothrow) SoundPlayer(pStream));
}

std::atomic<SoundMaker> s_pMaker{nullptr};

} // namespace

SoundMaker CurrentSoundMaker() {
    const SoundMaker pMaker = s_pMaker;
    return pMaker != nullptr ? pMaker : &MakeSoundPlayer;
}

void InstallSoundMaker(SoundMaker pMaker) {
    s_pMaker = pMaker;
}
