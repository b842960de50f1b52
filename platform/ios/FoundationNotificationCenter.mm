#include "platform/ios/FoundationNotificationCenter.hpp"
