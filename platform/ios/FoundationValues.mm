#include "platform/ios/FoundationValues.h"
