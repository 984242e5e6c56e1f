// The test bed and each plug-in of a device: the /dev FIFO, the ioctl
// handler, the clients, the reports handed to waiting URBs.
#include "device_impl.h"

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace emu {

void releaseUrb(Urb &u)
{
    if (u.buf)
        g_object_unref(u.buf);
    if (u.urb)
        g_object_unref(u.urb);
    u.buf = u.urb = nullptr;
}

namespace {

void makeDirs(const std::string &path)
{
    for (size_t pos = 1; (pos = path.find('/', pos)) != std::string::npos; ++pos)
        mkdir(path.substr(0, pos).c_str(), 0755);
    mkdir(path.c_str(), 0755);
}

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error("emulator: " + what + ": " + std::strerror(errno));
}

} // namespace

// POLLOUT on the /dev node tells libusb's event loop that a URB is ready to
// reap. A FIFO with a one-page buffer is writable exactly while it is not full,
// so a full pipe means "nothing to reap" and a drained one means "reap".
void Node::setPollout(bool on)
{
    if (on == pollout || fifo < 0)
        return;
    char page[4096];
    if (on) {
        while (read(fifo, page, sizeof page) > 0) {
        }
    } else {
        std::memset(page, 0, sizeof page);
        while (write(fifo, page, sizeof page) > 0) {
        }
    }
    pollout = on;
}

void Node::refreshPollout()
{
    bool any = false;
    for (auto &c : clients)
        any = any || !c.second.reapable.empty();
    setPollout(any);
}

// A closed handle: its URBs are gone and its claim is released, as when a
// process closes its usbfs file.
void Node::forget(UMockdevIoctlClient *client)
{
    auto it = clients.find(client);
    if (it == clients.end())
        return;
    for (auto p = pendingIn.begin(); p != pendingIn.end();) {
        if (p->client == client) {
            releaseUrb(*p);
            p = pendingIn.erase(p);
        } else {
            ++p;
        }
    }
    for (Urb &u : it->second.reapable)
        releaseUrb(u);
    g_signal_handler_disconnect(client, it->second.notifyId);
    clients.erase(it);
    if (dev->claimOwner == client)
        dev->claimOwner = nullptr;
    refreshPollout();
    g_object_unref(client);
}

// umockdev 0.17.16 marks a closed client as disconnected without notifying
// anyone, so every look at the clients first drops the closed ones.
void Node::sweep()
{
    std::vector<UMockdevIoctlClient *> gone;
    for (auto &c : clients)
        if (!umockdev_ioctl_client_get_connected(c.first))
            gone.push_back(c.first);
    for (auto *c : gone)
        forget(c);
}

void Device::Impl::plug(uint8_t devnum)
{
    auto node = std::make_unique<Node>();
    node->dev = this;
    node->devnum = devnum;
    char name[64];
    std::snprintf(name, sizeof name, "/dev/bus/usb/%03u/%03u", busnum, devnum);
    node->devnode = name;

    // The FIFO must exist before the "add" uevent, or the preload does not
    // redirect the node to the test bed.
    const std::string path = tb->root + node->devnode;
    makeDirs(path.substr(0, path.rfind('/')));
    unlink(path.c_str());
    if (mkfifo(path.c_str(), 0666) != 0)
        fail("mkfifo " + path);
    node->fifo = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (node->fifo < 0)
        fail("open " + path);
    fcntl(node->fifo, F_SETPIPE_SZ, 4096);
    node->setPollout(false);

    node->handler = umockdev_ioctl_base_new();
    node->ioctlId = g_signal_connect(node->handler, "handle-ioctl", G_CALLBACK(&Impl::onIoctl), node.get());
    node->connectId =
        g_signal_connect(node->handler, "client-connected", G_CALLBACK(&Impl::onClientConnected), node.get());
    GError *error = nullptr;
    if (!umockdev_testbed_attach_ioctl(tb->tb, node->devnode.c_str(), node->handler, &error)) {
        std::string msg = error ? error->message : "?";
        g_clear_error(&error);
        throw std::runtime_error("emulator: attach_ioctl: " + msg);
    }

    {
        std::lock_guard<std::mutex> lock(m);
        bound = profile.kernelDriverBound && profile.interfaceClass == 3;
        claimOwner = nullptr;
        alt = 0;
        nodes.push_back(std::move(node));
        ++plugins;
    }

    const std::string record = desc::umockdevRecord(profile, syspath, busnum, devnum, descriptors);
    if (!umockdev_testbed_add_from_string(tb->tb, record.c_str(), &error)) {
        std::string msg = error ? error->message : "?";
        g_clear_error(&error);
        throw std::runtime_error("emulator: add device: " + msg);
    }
}

void Device::Impl::deliverLocked()
{
    Node *n = current();
    if (!n || !n->live)
        return;
    n->sweep(); // a closed handle's URB must not swallow a report
    bool any = false;
    while (!reports.empty() && !n->pendingIn.empty()) {
        Urb u = n->pendingIn.front();
        n->pendingIn.pop_front();
        const Bytes &report = reports.front();
        auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
        const size_t room = u.buf ? size_t(u.buf->data_len) : 0;
        const size_t len = std::min(room, report.size());
        if (len)
            std::memcpy(u.buf->data, report.data(), len);
        urb->actual_length = int(len);
        // A report longer than the host's buffer babbles, as on the wire.
        urb->status = report.size() > room ? -EOVERFLOW : 0;
        reports.pop_front();
        auto it = n->clients.find(u.client);
        if (it == n->clients.end()) {
            releaseUrb(u);
            continue;
        }
        it->second.reapable.push_back(u);
        any = true;
    }
    if (any)
        n->setPollout(true);
}

void Device::Impl::joinPaced()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard<std::mutex> lock(m);
        threads.swap(paced);
    }
    for (auto &t : threads)
        t.join();
}

// ---------------------------------------------------------------- Testbed

Testbed::Testbed() : d_(std::make_unique<Impl>())
{
    // The preload sleeps briefly after each ioctl; the default 50 us timer
    // slack would stretch every one of those sleeps. Threads started from
    // here on inherit the setting.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    d_->tb = umockdev_testbed_new();
    gchar *root = umockdev_testbed_get_root_dir(d_->tb);
    d_->root = root;
    g_free(root);
}

// Takes the node off the bus for good: no handler, no FIFO, no client.
void Node::retire(UMockdevTestbed *tb)
{
    umockdev_testbed_detach_ioctl(tb, devnode.c_str(), nullptr);
    g_signal_handlers_disconnect_by_data(handler, this);
    {
        std::lock_guard<std::mutex> lock(dev->m);
        for (Urb &u : pendingIn)
            releaseUrb(u);
        pendingIn.clear();
        for (auto &c : clients) {
            for (Urb &u : c.second.reapable)
                releaseUrb(u);
            g_signal_handler_disconnect(c.first, c.second.notifyId);
            g_object_unref(c.first);
        }
        clients.clear();
        if (dev->claimOwner && dev->current() == this)
            dev->claimOwner = nullptr;
    }
    g_object_unref(handler);
    handler = nullptr;
    if (fifo >= 0)
        close(fifo);
    fifo = -1;
}

// USB has addresses 1 to 127, 1 being the root hub. An address comes back
// once the plug-in that had it is unplugged, replaced and closed by every
// handle (its /dev node and ioctl handler go with it).
uint8_t Testbed::Impl::allocDevnum()
{
    for (int tries = 0; tries < 126; ++tries) {
        const uint8_t devnum = nextDevnum;
        nextDevnum = nextDevnum >= 127 ? 2 : uint8_t(nextDevnum + 1);
        bool inUse = false;
        std::vector<std::pair<Device::Impl *, Node *>> stale;
        for (auto &dev : devices) {
            Device::Impl &d = dev->impl();
            std::lock_guard<std::mutex> lock(d.m);
            for (auto &n : d.nodes) {
                if (n->devnum != devnum)
                    continue;
                n->sweep();
                if (n->live || n.get() == d.current() || !n->clients.empty())
                    inUse = true;
                else
                    stale.emplace_back(&d, n.get());
            }
        }
        if (inUse)
            continue;
        for (auto &[d, n] : stale) {
            n->retire(tb);
            unlink((root + n->devnode).c_str());
            std::lock_guard<std::mutex> lock(d->m);
            d->nodes.erase(std::find_if(d->nodes.begin(), d->nodes.end(),
                                        [n = n](const std::unique_ptr<Node> &p) { return p.get() == n; }));
        }
        return devnum;
    }
    throw std::runtime_error("emulator: no free device number on the bus");
}

Testbed::~Testbed()
{
    for (auto &dev : d_->devices)
        dev->impl().joinPaced();
    for (auto &dev : d_->devices)
        for (auto &node : dev->impl().nodes)
            node->retire(d_->tb);
    g_object_unref(d_->tb);
    d_->devices.clear();
}

Device &Testbed::add(const DeviceSpec &profile, std::shared_ptr<Behaviour> behaviour)
{
    auto impl = std::make_unique<Device::Impl>();
    impl->tb = d_.get();
    impl->profile = profile;
    impl->behaviour = behaviour ? std::move(behaviour) : std::make_shared<Behaviour>();
    impl->reportDesc = desc::reportDescriptor(profile);
    impl->descriptors = desc::deviceAndConfig(profile, impl->reportDesc);
    const int port = int(d_->devices.size()) + 1;
    impl->syspath = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-" + std::to_string(port);
    Device::Impl *raw = impl.get();
    d_->devices.push_back(std::unique_ptr<Device>(new Device(std::move(impl))));
    raw->plug(d_->allocDevnum());
    return *d_->devices.back();
}

std::vector<Device *> Testbed::devices()
{
    std::vector<Device *> out;
    for (auto &d : d_->devices)
        out.push_back(d.get());
    return out;
}

std::string Testbed::rootDir() const { return d_->root; }

} // namespace emu
