// The classes that the component can make.
#include "com/Factory.h"
#include "com/IdentifierValues.h"
#include "player/MediaPlayer.h"

CFactoryTemplate g_Templates[] = {
    {L"Create KQPLAYER", &IdentifierValues::kClassMediaPlayer, &CMediaPlayer::CreateInstance},
};
int g_cTemplates = 1;
