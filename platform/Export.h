// SPDX-License-Identifier: MIT
#pragma once

/// Marks what the plug-in library exports; everything else is compiled hidden.
#define MTPSERVICE_EXPORT __attribute__((visibility("default")))
