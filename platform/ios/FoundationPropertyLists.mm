#include "platform/ios/FoundationPropertyLists.hpp"
