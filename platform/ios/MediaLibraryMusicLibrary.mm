#include "platform/ios/MediaLibraryMusicLibrary.hpp"
