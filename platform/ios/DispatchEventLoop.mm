#include "platform/ios/DispatchEventLoop.hpp"
