// SPDX-License-Identifier: MIT
#include "vemomtpsdk/Gadget.h"

#include "devices/VirtualDevices.h"
#include "gadget/FunctionFsGadget.h"
#include "store/Store.h"

#include <utility>

namespace vemomtpsdk {

bool serveVirtualDevice(const std::string& directory, const std::string& functionFs, int stop,
                        const GadgetListener& listener, std::string& error) {
    auto store = mtpsdk::Store::open(mtpsdk::canonicalDirectory(directory), error);
    if (!store) {
        return false;
    }
    const auto gadget = mtpsdk::FunctionFsGadget::open(functionFs, std::move(store), error);
    return gadget && gadget->serve(stop, listener, error);
}

} // namespace vemomtpsdk
