#include "platform/ios/SystemLog.hpp"
