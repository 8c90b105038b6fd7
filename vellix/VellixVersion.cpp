// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixVersion.h"

const char* vellixVersion() noexcept { return VELLIX_VERSION; }
