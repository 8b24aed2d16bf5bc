// The version of the package.
#pragma once

inline constexpr char PACKAGE_VERSION[] = "3.4";
