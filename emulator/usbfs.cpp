// The usbdevfs ioctls a host issues on a virtual device, answered as the
// kernel would. Runs on umockdev's worker thread: nothing here may block.
#include "device_impl.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstddef>
#include <algorithm>
#include <cstring>

namespace emu {
namespace {

constexpr unsigned kCapabilities = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                   USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_BULK_SCATTER_GATHER |
                                   USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
constexpr unsigned long kGetSpeed = _IO('U', 31);
constexpr long kSpeedFull = 2;

struct Reply {
    long res = 0;
    int err = 0;
};

Reply error(int err) { return Reply{-1, err}; }

// Resolves `len` bytes behind the pointer at `offset` of `data`; the caller owns the result.
UMockdevIoctlData *resolve(UMockdevIoctlData *data, size_t offset, size_t len)
{
    return umockdev_ioctl_data_resolve(data, offset, len, nullptr);
}

template <typename T> struct Resolved {
    UMockdevIoctlData *data;
    explicit Resolved(UMockdevIoctlData *arg) : data(resolve(arg, 0, sizeof(T))) {}
    ~Resolved()
    {
        if (data)
            g_object_unref(data);
    }
    Resolved(const Resolved &) = delete;
    Resolved &operator=(const Resolved &) = delete;
    T *operator->() { return reinterpret_cast<T *>(data->data); }
    explicit operator bool() const { return data != nullptr; }
};

ClientState &ensureClient(Node *n, UMockdevIoctlClient *client)
{
    auto it = n->clients.find(client);
    if (it != n->clients.end())
        return it->second;
    ClientState &st = n->clients[client];
    g_object_ref(client);
    st.notifyId = g_signal_connect(client, "notify::connected", G_CALLBACK(&Device::Impl::onClientNotify), n);
    return st;
}

// Interface 0 for `client`: the kernel claims an interface implicitly on
// first use unless another driver or another handle holds it.
bool claimFor(Device::Impl *d, UMockdevIoctlClient *client)
{
    if (d->claimOwner == client)
        return true;
    if (d->claimOwner || d->bound)
        return false;
    d->claimOwner = client;
    return true;
}

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
    const DeviceSpec &spec = d->spec;
    if (req.requestType == 0x80 && req.request == 6) { // GET_DESCRIPTOR
        if (type == 1)
            return Bytes(d->descriptors.begin(), d->descriptors.begin() + 18);
        if (type == 2 && index == 0)
            return Bytes(d->descriptors.begin() + 18, d->descriptors.end());
        if (type == 3)
            return desc::string(spec, index);
        return std::nullopt;
    }
    if (req.requestType == 0x80 && req.request == 0) // GET_STATUS: bus powered
        return Bytes{0, 0};
    if (req.requestType == 0x80 && req.request == 8) // GET_CONFIGURATION
        return Bytes{1};
    if (spec.interfaceClass == 3 && req.requestType == 0x81 && req.request == 6 && type == 0x22)
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
    const DeviceSpec &spec = d->spec;
    const bool in = urb->endpoint & 0x80;
    if (in ? (urb->endpoint != desc::kInEndpoint || !spec.inPacketSize)
           : (urb->endpoint != desc::kOutEndpoint || !spec.outPacketSize))
        return error(ENOENT);

    if (in) {
        std::lock_guard<std::mutex> lock(d->m);
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

Reply driverIoctl(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg)
{
    Device::Impl *d = n->dev;
    Resolved<usbdevfs_ioctl> io(arg);
    if (!io)
        return error(EFAULT);
    if (io->ifno != 0)
        return error(EINVAL);
    switch (io->ioctl_code) {
    case USBDEVFS_DISCONNECT:
        if (!d->bound)
            return error(ENODATA);
        d->bound = false;
        return {};
    case USBDEVFS_CONNECT:
        // The number of drivers bound; libusb reads 0 as "none found".
        if (d->claimOwner)
            return error(EBUSY);
        if (d->bound || d->spec.interfaceClass != 3)
            return {};
        d->bound = true;
        return Reply{1, 0};
    default:
        (void)client;
        return error(ENOTTY);
    }
}

Reply handle(Node *n, UMockdevIoctlClient *client, unsigned long req, UMockdevIoctlData *arg)
{
    Device::Impl *d = n->dev;
    if (req == USBDEVFS_SUBMITURB) {
        {
            std::lock_guard<std::mutex> lock(d->m);
            if (!n->live)
                return error(ENODEV);
            n->sweep();
        }
        return submitUrb(n, client, arg);
    }

    std::lock_guard<std::mutex> lock(d->m);
    n->sweep();
    if (req == USBDEVFS_REAPURBNDELAY || req == USBDEVFS_REAPURB)
        return reapUrb(n, client, arg);
    if (!n->live)
        return error(ENODEV);

    switch (req) {
    case USBDEVFS_GET_CAPABILITIES: {
        Resolved<uint32_t> caps(arg);
        if (!caps)
            return error(EFAULT);
        *caps.operator->() = kCapabilities;
        return {};
    }
    case USBDEVFS_DISCARDURB:
        return discardUrb(n, client, arg);
    case USBDEVFS_GETDRIVER: {
        Resolved<usbdevfs_getdriver> gd(arg);
        if (!gd)
            return error(EFAULT);
        if (gd->interface != 0 || !d->bound)
            return error(ENODATA);
        std::strcpy(gd->driver, "usbhid");
        return {};
    }
    case USBDEVFS_IOCTL:
        return driverIoctl(n, client, arg);
    case USBDEVFS_CLAIMINTERFACE: {
        Resolved<unsigned int> ifno(arg);
        if (!ifno)
            return error(EFAULT);
        if (*ifno.operator->() != 0)
            return error(ENOENT);
        return claimFor(d, client) ? Reply{} : error(EBUSY);
    }
    case USBDEVFS_RELEASEINTERFACE: {
        Resolved<unsigned int> ifno(arg);
        if (!ifno)
            return error(EFAULT);
        if (*ifno.operator->() != 0 || d->claimOwner != client)
            return error(EINVAL);
        d->claimOwner = nullptr;
        return {};
    }
    case USBDEVFS_DISCONNECT_CLAIM: {
        Resolved<usbdevfs_disconnect_claim> dc(arg);
        if (!dc)
            return error(EFAULT);
        if (dc->interface != 0)
            return error(ENOENT);
        if (d->claimOwner && d->claimOwner != client)
            return error(EBUSY);
        d->bound = false;
        d->claimOwner = client;
        return {};
    }
    case USBDEVFS_SETINTERFACE: {
        Resolved<usbdevfs_setinterface> si(arg);
        if (!si)
            return error(EFAULT);
        const unsigned alts = d->spec.altSettings ? d->spec.altSettings : 1;
        if (si->interface != 0 || si->altsetting >= alts)
            return error(EINVAL);
        if (!claimFor(d, client))
            return error(EBUSY);
        d->alt = uint8_t(si->altsetting);
        return {};
    }
    case USBDEVFS_SETCONFIGURATION: {
        Resolved<int> cfg(arg);
        if (!cfg)
            return error(EFAULT);
        return *cfg.operator->() == 1 ? Reply{} : error(EINVAL);
    }
    case USBDEVFS_CLEAR_HALT:
    case USBDEVFS_RESETEP:
    case USBDEVFS_RESET:
        return {};
    case kGetSpeed:
        return Reply{kSpeedFull, 0};
    default:
        return error(ENOTTY);
    }
}

} // namespace

gboolean Device::Impl::onIoctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer node)
{
    auto *n = static_cast<Node *>(node);
    const unsigned long req = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData *arg = umockdev_ioctl_client_get_arg(client);
    const Reply r = handle(n, client, req, arg);
    umockdev_ioctl_client_complete(client, r.res, r.err);
    return TRUE;
}

void Device::Impl::onClientConnected(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer node)
{
    auto *n = static_cast<Node *>(node);
    std::lock_guard<std::mutex> lock(n->dev->m);
    n->sweep();
    ensureClient(n, client);
}

// Should a later umockdev announce closed clients, take the news at once.
void Device::Impl::onClientNotify(GObject *object, GParamSpec *, gpointer node)
{
    auto *client = reinterpret_cast<UMockdevIoctlClient *>(object);
    if (umockdev_ioctl_client_get_connected(client))
        return;
    auto *n = static_cast<Node *>(node);
    std::lock_guard<std::mutex> lock(n->dev->m);
    n->forget(client);
}

} // namespace emu
