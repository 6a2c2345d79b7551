// SPDX-License-Identifier: MIT
#pragma once

#define VEMO_EXPORT __attribute__((visibility("default")))
