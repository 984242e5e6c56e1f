// Device descriptions from the catalogue, and the default answers of a device.
#include "emulator/emulator.h"

#include "tablet/catalogue.h"

#include <stdexcept>

namespace emu {

// A catalogue tablet: HID interface, IN packets as long as the model's reports.
DeviceSpec DeviceSpec::tabletRow(int row, bool withOutEndpoint)
{
    if (row < 0 || row >= kTabletCatalogueRows)
        throw std::out_of_range("no catalogue row " + std::to_string(row));
    const DEV_INFO_PX &info = Dev_info_px[row];
    DeviceSpec profile;
    profile.vendorId = kTavrelVendorId;
    profile.productId = info.pid;
    profile.deviceClass = 0;
    profile.interfaceClass = 3;
    profile.inPacketSize = uint16_t(info.reportLen);
    profile.outPacketSize = withOutEndpoint ? uint16_t(info.reportLen) : 0;
    profile.kernelDriverBound = true;
    profile.manufacturer = info.manufacturer;
    profile.product = info.model;
    return profile;
}

// The catalogue tablet with product id `pid`.
DeviceSpec DeviceSpec::tabletPid(uint16_t pid, bool withOutEndpoint)
{
    const int row = catalogueRowOfPid(pid);
    if (row < 0)
        throw std::out_of_range("no catalogue tablet with product id " + std::to_string(pid));
    return tabletRow(row, withOutEndpoint);
}

// Any device; the HID driver is bound only where the interface is HID.
DeviceSpec DeviceSpec::other(uint16_t vid, uint16_t pid, uint8_t deviceClass, uint8_t interfaceClass)
{
    DeviceSpec profile;
    profile.vendorId = vid;
    profile.productId = pid;
    profile.deviceClass = deviceClass;
    profile.interfaceClass = interfaceClass;
    profile.kernelDriverBound = interfaceClass == 3;
    return profile;
}

// Defaults: a device that takes every OUT request and has nothing to say.
bool Behaviour::onSetReport(Device &, uint8_t, uint8_t, const Bytes &) { return true; }

std::optional<Bytes> Behaviour::onGetReport(Device &, uint8_t, uint8_t, uint16_t) { return std::nullopt; }

void Behaviour::onInterruptOut(Device &, const Bytes &) {}

std::optional<Bytes> Behaviour::onOtherControl(Device &, const ControlRequest &req)
{
    if (req.requestType & 0x80)
        return std::nullopt;
    return Bytes{};
}

} // namespace emu
