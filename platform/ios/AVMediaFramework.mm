#include "platform/ios/AVMediaFramework.hpp"
