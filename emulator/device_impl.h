// Internals of the emulator: one Device::Impl per virtual device, one Node
// per plug-in of it (device number, /dev FIFO, ioctl handler, open clients).
#pragma once

#include "emulator/emulator.h"

#include <umockdev.h>

#include <deque>
#include <map>
#include <mutex>
#include <thread>

namespace emu {

// Descriptor bytes and texts built from a DeviceSpec.
namespace desc {
constexpr uint8_t kInEndpoint = 0x81;
constexpr uint8_t kOutEndpoint = 0x02;
Bytes reportDescriptor(const DeviceSpec &profile);
// 18-byte device descriptor followed by the configuration block.
Bytes deviceAndConfig(const DeviceSpec &profile, const Bytes &reportDesc);
// String descriptor `index` (0: language list), nullopt when there is none.
std::optional<Bytes> string(const DeviceSpec &profile, uint8_t index);
// umockdev's text description of the device at bus/dev.
std::string umockdevRecord(const DeviceSpec &profile, const std::string &syspath, uint8_t busnum,
                           uint8_t devnum, const Bytes &descriptors);
} // namespace desc

// A URB the host submitted, held between submit and reap. The references keep
// the local copies umockdev made of the client's URB struct and buffer.
struct Urb {
    UMockdevIoctlData *urb = nullptr;
    UMockdevIoctlData *buf = nullptr;
    UMockdevIoctlClient *client = nullptr;
};

struct ClientState {
    std::deque<Urb> reapable;
    gulong notifyId = 0;
};

// One plug-in of a device. A node outlives its unplug: a handle still open on
// it gets ENODEV for everything until it is closed.
struct Node {
    Device::Impl *dev = nullptr;
    std::string devnode;                // /dev/bus/usb/BBB/DDD
    uint8_t devnum = 0;
    int fifo = -1;                      // our end of the /dev FIFO (POLLOUT switch)
    bool pollout = true;
    bool live = true;
    UMockdevIoctlBase *handler = nullptr;
    gulong ioctlId = 0, connectId = 0;
    std::deque<Urb> pendingIn;          // IN URBs waiting for a report, oldest first
    std::map<UMockdevIoctlClient *, ClientState> clients;

    // All of these: caller holds the device mutex.
    void setPollout(bool on);
    void refreshPollout();
    void forget(UMockdevIoctlClient *client);
    void sweep();
    // Caller holds no lock.
    void retire(UMockdevTestbed *tb);
};

struct Device::Impl {
    Testbed::Impl *tb = nullptr;
    Device *self = nullptr;
    DeviceSpec profile;
    Bytes reportDesc;
    Bytes descriptors;
    std::string syspath;
    uint8_t busnum = 1;

    mutable std::mutex m;               // guards everything below
    std::shared_ptr<Behaviour> behaviour;
    std::deque<Bytes> reports;          // pushed, not yet taken by an IN URB
    std::vector<ControlRequest> controls;
    std::vector<Bytes> outs;
    bool bound = false;
    UMockdevIoctlClient *claimOwner = nullptr;
    uint8_t alt = 0;
    std::vector<std::unique_ptr<Node>> nodes; // back() is the current plug-in
    unsigned plugins = 0;               // plug-ins so far; a paced push keeps to its own
    std::vector<std::thread> paced;

    Node *current() const { return nodes.empty() ? nullptr : nodes.back().get(); }
    bool plugged() const { return current() && current()->live; }

    // Plug-in: FIFO node, ioctl handler, then the "add" uevent.
    void plug(uint8_t devnum);
    // Hand queued reports to waiting IN URBs. Caller holds m.
    void deliverLocked();
    // Queue a report if plug-in number `plugin` is still the live one.
    void pushTo(unsigned plugin, const Bytes &report);
    void joinPaced();

    // ioctl side (usbfs.cpp), all on umockdev's worker thread.
    static gboolean onIoctl(UMockdevIoctlBase *handler, UMockdevIoctlClient *client, gpointer node);
    static void onClientConnected(UMockdevIoctlBase *handler, UMockdevIoctlClient *client, gpointer node);
    static void onClientNotify(GObject *client, GParamSpec *pspec, gpointer node);
};

struct Testbed::Impl {
    UMockdevTestbed *tb = nullptr;
    std::string root;
    std::vector<std::unique_ptr<Device>> devices;
    uint8_t nextDevnum = 2;             // 1 is the root hub

    uint8_t allocDevnum();
};

void releaseUrb(Urb &u);

} // namespace emu
