// SPDX-License-Identifier: MIT
#include "host/VXDeviceConfirmDelegate.h"

VXDeviceConfirmDelegate::~VXDeviceConfirmDelegate() = default;
