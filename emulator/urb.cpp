// URBs: control requests answered at once, interrupt OUT taken at once,
// interrupt IN held until a report comes; reaping and cancelling.
#include "usbfs.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace emu {
namespace usbfs {
namespace {

// The answer of the device to one control request; nullopt stalls.
std::optional<Bytes> answerControl(Device::Impl *d, const ControlRequest &req)
{
    const uint8_t type = uint8_t(req.value >> 8);
    const uint8_t index = uint8_t(req.value & 0xff);
    std::shared_ptr<Behaviour> behaviour;
    {
        std::lock_guard<std::mutex> lock(d->m);
        d->controls.push_back(req);
        behaviour = d->behaviour;
    }
    const DeviceSpec &profile = d->profile;
    if (req.requestType == 0x80 && req.request == 6) { // GET_DESCRIPTOR
        if (type == 1)
            return Bytes(d->descriptors.begin(), d->descriptors.begin() + 18);
        if (type == 2 && index == 0)
            return Bytes(d->descriptors.begin() + 18, d->descriptors.end());
        if (type == 3)
            return desc::string(profile, index);
        return std::nullopt;
    }
    if (req.requestType == 0x80 && req.request == 0) // GET_STATUS: bus powered
        return Bytes{0, 0};
    if (req.requestType == 0x80 && req.request == 8) // GET_CONFIGURATION
        return Bytes{1};
    if (profile.interfaceClass == 3 && req.requestType == 0x81 && req.request == 6 && type == 0x22)
        return d->reportDesc;
    if (req.requestType == 0x21 && req.request == 9) // SET_REPORT
        return behaviour->onSetReport(*d->self, type, index, req.data) ? std::optional<Bytes>(Bytes{})
                                                                         : std::nullopt;
    if (req.requestType == 0xA1 && req.request == 1) // GET_REPORT
        return behaviour->onGetReport(*d->self, type, index, req.length);
    return behaviour->onOtherControl(*d->self, req);
}

void completeAtOnce(Node *n, UMockdevIoctlClient *client, Urb u)
{
    ensureClient(n, client).reapable.push_back(u);
    n->setPollout(true);
}

Reply submitControl(Node *n, UMockdevIoctlClient *client, Urb u)
{
    auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
    if (!u.buf || u.buf->data_len < 8)
        return error(EINVAL);
    const uint8_t *setup = u.buf->data;
    ControlRequest req;
    req.requestType = setup[0];
    req.request = setup[1];
    req.value = uint16_t(setup[2] | setup[3] << 8);
    req.index = uint16_t(setup[4] | setup[5] << 8);
    req.length = uint16_t(setup[6] | setup[7] << 8);
    const size_t room = size_t(u.buf->data_len - 8);
    const size_t wanted = std::min<size_t>(req.length, room);
    if (!(req.requestType & 0x80))
        req.data.assign(setup + 8, setup + 8 + wanted);

    Device::Impl *d = n->dev;
    const std::optional<Bytes> answer = answerControl(d, req);

    std::lock_guard<std::mutex> lock(d->m);
    if (!n->live) {
        urb->status = -ESHUTDOWN;
        urb->actual_length = 0;
    } else if (!answer) {
        urb->status = -EPIPE;
        urb->actual_length = 0;
    } else if (req.requestType & 0x80) {
        const size_t len = std::min(wanted, answer->size());
        // An empty answer has no data pointer to copy from.
        if (len > 0)
            std::memcpy(u.buf->data + 8, answer->data(), len);
        urb->status = 0;
        urb->actual_length = int(len);
    } else {
        urb->status = 0;
        urb->actual_length = int(wanted);
    }
    completeAtOnce(n, client, u);
    return {};
}

Reply submitData(Node *n, UMockdevIoctlClient *client, Urb u)
{
    Device::Impl *d = n->dev;
    auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
    const DeviceSpec &profile = d->profile;
    const bool in = urb->endpoint & 0x80;
    if (in ? (urb->endpoint != desc::kInEndpoint || !profile.inPacketSize)
           : (urb->endpoint != desc::kOutEndpoint || !profile.outPacketSize))
        return error(ENOENT);

    if (in) {
        std::lock_guard<std::mutex> lock(d->m);
        // An unplug may have come between the caller's check and this lock;
        // a URB parked on a dead node would never complete.
        if (!n->live)
            return error(ENODEV);
        if (!claimFor(d, client))
            return error(EBUSY);
        ensureClient(n, client);
        n->pendingIn.push_back(u);
        d->deliverLocked();
        return {};
    }

    Bytes data = u.buf ? Bytes(u.buf->data, u.buf->data + u.buf->data_len) : Bytes{};
    std::shared_ptr<Behaviour> behaviour;
    {
        std::lock_guard<std::mutex> lock(d->m);
        if (!claimFor(d, client))
            return error(EBUSY);
        d->outs.push_back(data);
        behaviour = d->behaviour;
    }
    behaviour->onInterruptOut(*d->self, data);
    std::lock_guard<std::mutex> lock(d->m);
    urb->status = n->live ? 0 : -ESHUTDOWN;
    urb->actual_length = n->live ? int(data.size()) : 0;
    completeAtOnce(n, client, u);
    return {};
}
} // namespace

Reply submitUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg)
{
    Urb u;
    u.client = client;
    u.urb = resolve(arg, 0, sizeof(usbdevfs_urb));
    if (!u.urb)
        return error(EFAULT);
    auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
    if (urb->buffer_length < 0) {
        releaseUrb(u);
        return error(EINVAL);
    }
    if (urb->buffer_length > 0) {
        u.buf = resolve(u.urb, offsetof(usbdevfs_urb, buffer), size_t(urb->buffer_length));
        if (!u.buf) {
            releaseUrb(u);
            return error(EFAULT);
        }
    }
    urb->status = -EINPROGRESS;
    urb->actual_length = 0;
    Reply r;
    switch (urb->type) {
    case USBDEVFS_URB_TYPE_CONTROL:
        r = urb->endpoint == 0 ? submitControl(n, client, u) : error(ENOENT);
        break;
    case USBDEVFS_URB_TYPE_INTERRUPT:
    case USBDEVFS_URB_TYPE_BULK:
        r = submitData(n, client, u);
        break;
    default:
        r = error(EINVAL);
    }
    if (r.res < 0)
        releaseUrb(u);
    return r;
}

Reply reapUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg)
{
    ClientState &st = ensureClient(n, client);
    if (st.reapable.empty())
        return error(n->live ? EAGAIN : ENODEV);
    UMockdevIoctlData *ptr = resolve(arg, 0, sizeof(void *));
    if (!ptr)
        return error(EFAULT);
    Urb u = st.reapable.front();
    st.reapable.pop_front();
    umockdev_ioctl_data_set_ptr(ptr, 0, u.urb);
    g_object_unref(ptr);
    releaseUrb(u);
    n->refreshPollout();
    return {};
}

// Cancel: the URB still has to be reaped, with -ENOENT.
Reply discardUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg)
{
    unsigned long addr = 0;
    std::memcpy(&addr, arg->data, std::min<size_t>(sizeof addr, size_t(arg->data_len)));
    for (auto it = n->pendingIn.begin(); it != n->pendingIn.end(); ++it) {
        if (it->client != client || it->urb->client_addr != addr)
            continue;
        Urb u = *it;
        n->pendingIn.erase(it);
        auto *urb = reinterpret_cast<usbdevfs_urb *>(u.urb->data);
        urb->status = -ENOENT;
        urb->actual_length = 0;
        completeAtOnce(n, client, u);
        return {};
    }
    return error(EINVAL);
}

} // namespace usbfs
} // namespace emu
