// Virtual USB devices on a umockdev test bed: tablets of the catalogue, HID
// devices of other makers, and non-HID devices such as fingerprint scanners.
// The code under test reaches them through real libusb (usbfs ioctls answered
// here). The process must run under umockdev-wrapper (LD_PRELOAD).
//
// Create the Testbed before any libusb or Qt thread starts; call libusb_init
// after it exists and libusb_exit before it is destroyed.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace emu {

using Bytes = std::vector<uint8_t>;

// What a device looks like on the bus. One configuration, one interface.
struct DeviceSpec {
    uint16_t vendorId = 0;
    uint16_t productId = 0;
    uint16_t bcdDevice = 0x0100;
    uint8_t deviceClass = 0;       // bDeviceClass
    uint8_t interfaceClass = 3;    // 3 = HID; 0, 8, 220 for the scanners
    uint8_t altSettings = 1;       // alternate settings of the interface
    uint16_t inPacketSize = 64;    // interrupt IN wMaxPacketSize, 0 = no IN endpoint
    uint16_t outPacketSize = 0;    // interrupt OUT wMaxPacketSize, 0 = no OUT endpoint
    bool kernelDriverBound = true; // "usbhid" bound at plug-in (HID only)

    // String descriptors: indices 1, 2, 3 in the device descriptor when not
    // empty (UTF-8 here, UTF-16LE on the wire); languages is descriptor 0.
    std::string manufacturer;
    std::string product;
    std::string serial;
    std::vector<uint16_t> languages{0x0409};
    // HID report descriptor; empty gives a vendor-defined one sized for the
    // IN and OUT endpoints.
    Bytes reportDescriptor;

    // The HID report descriptor the device gives: reportDescriptor, or the
    // default made for its endpoints.
    Bytes hidReportDescriptor() const;

    // A catalogue tablet: vendor, product, IN endpoint sized for its reports.
    static DeviceSpec tabletRow(int row, bool withOutEndpoint = false);
    static DeviceSpec tabletPid(uint16_t pid, bool withOutEndpoint = false);
    // A device of another kind: bDeviceClass and interface class as given.
    static DeviceSpec other(uint16_t vid, uint16_t pid, uint8_t deviceClass, uint8_t interfaceClass);
};

// One control transfer as the device saw it.
struct ControlRequest {
    uint8_t requestType = 0;
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;
    Bytes data;                    // OUT data (host to device)
};

class Device;

// How a device answers. Default: accept every OUT, stall every IN request.
// Handlers run on umockdev's ioctl thread and must not block; they may call
// Device::push to queue input reports.
class Behaviour {
public:
    virtual ~Behaviour() = default;
    // SET_REPORT (0x21/9); reportType is the high byte of wValue (2 output, 3 feature).
    // Return false to stall.
    virtual bool onSetReport(Device &dev, uint8_t reportType, uint8_t reportId, const Bytes &data);
    // GET_REPORT (0xA1/1): the bytes to return, or nullopt to stall.
    virtual std::optional<Bytes> onGetReport(Device &dev, uint8_t reportType, uint8_t reportId, uint16_t length);
    // Data written to the interrupt OUT endpoint.
    virtual void onInterruptOut(Device &dev, const Bytes &data);
    // Any other control request (device, configuration, string and HID report
    // descriptors are answered before this). For an OUT request any value
    // accepts it; nullopt stalls.
    virtual std::optional<Bytes> onOtherControl(Device &dev, const ControlRequest &req);
};

class Device {
public:
    const DeviceSpec &profile() const;
    std::string syspath() const;
    uint8_t busnum() const;
    uint8_t devnum() const;        // changes on replug

    void setBehaviour(std::shared_ptr<Behaviour> behaviour);

    // Queue an input report for the interrupt IN endpoint (any thread). It
    // waits for the next IN transfer, even one submitted later; dropped while
    // unplugged.
    void push(const Bytes &report);
    // Queue reports at a fixed pace from a background thread; returns at once.
    // Those still to come at an unplug are dropped, also after a replug.
    void pushPaced(std::vector<Bytes> reports, std::chrono::microseconds interval);
    void waitPacedDone();

    // What the host has done so far (any thread).
    std::vector<ControlRequest> controlLog() const;
    std::vector<Bytes> interruptOutLog() const;
    void clearLogs();
    bool claimed() const;            // interface claimed by an open handle
    bool kernelDriverBound() const;  // "usbhid" bound (detach clears, attach sets)
    int pendingInTransfers() const;  // interrupt IN URBs waiting for a report

    // From the test's thread, never from a Behaviour handler.
    void unplug();                   // pending URBs end with NO_DEVICE, then "remove"
    void replug();                   // back at a new device number
    bool plugged() const;

    uint8_t altSetting() const;      // last alternate setting the host chose
    size_t queuedReports() const;    // pushed reports no IN transfer has taken yet
    std::string devnode() const;     // /dev/bus/usb/BBB/DDD

    ~Device();
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    struct Impl;                     // emulator internals
    Impl &impl() { return *d_; }

private:
    friend class Testbed;
    explicit Device(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> d_;
};

class Testbed {
public:
    Testbed();
    ~Testbed();
    Testbed(const Testbed &) = delete;
    Testbed &operator=(const Testbed &) = delete;

    Device &add(const DeviceSpec &profile, std::shared_ptr<Behaviour> behaviour = nullptr);
    std::vector<Device *> devices();

    std::string rootDir() const;     // the test bed's root folder

    struct Impl;

private:
    std::unique_ptr<Impl> d_;
};

} // namespace emu
