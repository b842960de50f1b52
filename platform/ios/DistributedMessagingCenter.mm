#include "platform/ios/DistributedMessagingCenter.hpp"
