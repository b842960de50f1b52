#include "platform/ios/SystemClasses.h"
