#include "platform/ios/HostProcess.h"
