// Files of the base folder.
#pragma once

inline constexpr char kSettingsFileName[] = "print-provider.conf";
inline constexpr char kEnvVersionFileName[] = "env-version";
inline constexpr char kLogFileName[] = "print-monitor.log";
