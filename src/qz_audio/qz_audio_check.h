/// \file
/// \brief Guarded calls: every property operation and state check reports its result to the platform.
#pragma once

#include "system/qz_system.h"

/// Evaluates an expression and reports its result with `message`, the expression as it is written, and
/// the source position. Execution goes on in every case. The expression comes last, since it may hold
/// commas.
#define QZ_AUDIO_CHECK(message, ...) QZ_AUDIO_CHECK_AS(message, #__VA_ARGS__, (__VA_ARGS__))

/// The same with the text of the expression given: `condition` may be another one than the text shows.
#define QZ_AUDIO_CHECK_AS(message, expression, condition)                                          \
    qz_assertion_faild(condition, expression, message, __FILE__, __LINE__)
