// The usbdevfs ioctls a host issues on a virtual device, answered as the
// kernel would. Runs on umockdev's worker thread: nothing here may block.
#include "usbfs.h"

#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>

namespace emu {
namespace usbfs {
namespace {

constexpr unsigned kCapabilities = USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                   USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_BULK_SCATTER_GATHER |
                                   USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
constexpr unsigned long kGetSpeed = _IO('U', 31);
constexpr long kSpeedFull = 2;

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
        if (d->bound || d->profile.interfaceClass != 3)
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
        const unsigned alts = d->profile.altSettings ? d->profile.altSettings : 1;
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
} // namespace usbfs

gboolean Device::Impl::onIoctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer node)
{
    auto *n = static_cast<Node *>(node);
    const unsigned long req = umockdev_ioctl_client_get_request(client);
    UMockdevIoctlData *arg = umockdev_ioctl_client_get_arg(client);
    const usbfs::Reply r = usbfs::handle(n, client, req, arg);
    // Completing copies the resolved buffers back to the client. A submitted
    // IN URB's buffer is already queued by then, and a report pushed from
    // another thread writes it under the device lock: copy under it too.
    std::lock_guard<std::mutex> lock(n->dev->m);
    umockdev_ioctl_client_complete(client, r.res, r.err);
    return TRUE;
}

void Device::Impl::onClientConnected(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer node)
{
    auto *n = static_cast<Node *>(node);
    std::lock_guard<std::mutex> lock(n->dev->m);
    n->sweep();
    usbfs::ensureClient(n, client);
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