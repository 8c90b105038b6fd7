// SPDX-License-Identifier: Apache-2.0
#include "vellix/VellixPath.h"

#include "vellix/platform/Platform.h"

std::wstring vellix::widePath(const std::filesystem::path& path) {
    const std::filesystem::path::string_type& name = path.native();
    const bool isWhole = name.find(std::filesystem::path::value_type()) == name.npos;
    return isWhole ? platform::widen(name.c_str()) : std::wstring();
}
