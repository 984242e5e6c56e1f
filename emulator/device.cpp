// The public face of a device: reports in, what the host did out, unplug
// and replug.
#include "device_impl.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <cerrno>

namespace emu {

Device::Device(std::unique_ptr<Impl> impl) : d_(std::move(impl)) { d_->self = this; }

Device::~Device() { d_->joinPaced(); }

const DeviceSpec &Device::profile() const { return d_->profile; }

std::string Device::syspath() const { return d_->syspath; }

uint8_t Device::busnum() const { return d_->busnum; }

uint8_t Device::devnum() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->current() ? d_->current()->devnum : 0;
}

std::string Device::devnode() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->current() ? d_->current()->devnode : std::string();
}

void Device::setBehaviour(std::shared_ptr<Behaviour> behaviour)
{
    if (!behaviour)
        behaviour = std::make_shared<Behaviour>();
    std::lock_guard<std::mutex> lock(d_->m);
    d_->behaviour = std::move(behaviour);
}

void Device::push(const Bytes &report)
{
    std::lock_guard<std::mutex> lock(d_->m);
    if (!d_->plugged())
        return;
    d_->reports.push_back(report);
    d_->deliverLocked();
}

void Device::Impl::pushTo(unsigned plugin, const Bytes &report)
{
    std::lock_guard<std::mutex> lock(m);
    if (!plugged() || plugins != plugin)
        return;
    reports.push_back(report);
    deliverLocked();
}

// The reports belong to the plug-in of the moment: an unplug drops the rest,
// so a replugged device never sends what was meant for the one before.
void Device::pushPaced(std::vector<Bytes> reports, std::chrono::microseconds interval)
{
    std::lock_guard<std::mutex> lock(d_->m);
    const unsigned plugin = d_->plugins;
    d_->paced.emplace_back([this, plugin, reports = std::move(reports), interval] {
        auto due = std::chrono::steady_clock::now();
        for (const Bytes &r : reports) {
            std::this_thread::sleep_until(due);
            d_->pushTo(plugin, r);
            due += interval;
        }
    });
}

void Device::waitPacedDone() { d_->joinPaced(); }

std::vector<ControlRequest> Device::controlLog() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->controls;
}

std::vector<Bytes> Device::interruptOutLog() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->outs;
}

void Device::clearLogs()
{
    std::lock_guard<std::mutex> lock(d_->m);
    d_->controls.clear();
    d_->outs.clear();
}

bool Device::claimed() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    if (Node *n = d_->current())
        n->sweep();
    return d_->claimOwner != nullptr;
}

bool Device::kernelDriverBound() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->bound;
}

int Device::pendingInTransfers() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    Node *n = d_->current();
    if (n)
        n->sweep();
    return n ? int(n->pendingIn.size()) : 0;
}

uint8_t Device::altSetting() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->alt;
}

size_t Device::queuedReports() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->reports.size();
}

bool Device::plugged() const
{
    std::lock_guard<std::mutex> lock(d_->m);
    return d_->plugged();
}

// Pending URBs end first (-ESHUTDOWN: libusb's NO_DEVICE) so that the host
// reaps them; everything after that is ENODEV. The "remove" uevent goes out
// before the sysfs entry disappears, or it is lost.
void Device::unplug()
{
    {
        std::lock_guard<std::mutex> lock(d_->m);
        Node *n = d_->current();
        if (!n || !n->live)
            return;
        n->live = false;
        while (!n->pendingIn.empty()) {
            Urb u = n->pendingIn.front();
            n->pendingIn.pop_front();
            auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
            urb->status = -ESHUTDOWN;
            urb->actual_length = 0;
            auto it = n->clients.find(u.client);
            if (it == n->clients.end())
                releaseUrb(u);
            else
                it->second.reapable.push_back(u);
        }
        d_->reports.clear();
        d_->claimOwner = nullptr;
        d_->bound = false;
        n->refreshPollout();
    }
    umockdev_testbed_uevent(d_->tb->tb, d_->syspath.c_str(), "remove");
    umockdev_testbed_remove_device(d_->tb->tb, d_->syspath.c_str());
}

void Device::replug()
{
    if (plugged())
        unplug();
    d_->plug(d_->tb->allocDevnum());
}

} // namespace emu
