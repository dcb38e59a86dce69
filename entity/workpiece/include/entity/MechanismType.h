#pragma once

#include <cstdint>

// Kind of a mechanism, saved as a number; the configured mechanisms give the values their meaning.
using MechanismType = std::int32_t;
