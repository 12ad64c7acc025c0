#pragma once

#include <cstddef>

// The bytes of one block on a worker's pipe: the process command, and the result that answers it.
constexpr size_t bareCommandSize = 11;
constexpr size_t bareAnswerSize = 4;
