// The list of registry values the program understands, as shown by Ctrl+9.
#pragma once
#include "services/base.h"

#include <string>

// "Registry Keys: " and one line per value: type, quoted name, hive, accepted values,
// separated by tabs.
std::string GetRegistryValuesText();
