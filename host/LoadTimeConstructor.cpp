#include "host/LoadTimeDispatch.hpp"

namespace {

__attribute__((constructor)) void load() {
    quillet::host::loadTimeDispatch();
}

}  // namespace
