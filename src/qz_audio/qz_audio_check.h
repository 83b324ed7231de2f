/// \file
/// \brief Checks: the result of each property access and state check is reported to the platform.
#pragma once

#include "system/qz_system.h"

/// Evaluates an expression and reports its result with `message`, the expression as it is written, and
/// the source position. Execution goes on in every case. The expression comes last, since it may hold
/// commas.
#define QZ_AUDIO_CHECK(message, ...) QZ_AUDIO_CHECK_AS(message, #__VA_ARGS__, (__VA_ARGS__))

/// The same with the text given: `condition` may differ from it.
#define QZ_AUDIO_CHECK_AS(message, expression, condition)                                          \
    qz_assertion_faild(condition, expression, message, __FILE__, __LINE__)
