// SPDX-License-Identifier: MIT
#pragma once

// toml++ as this room uses it: without exceptions, and for reading alone.
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>
