// Shared by the ioctl handlers: the reply of one ioctl and access to the
// client's memory.
#pragma once

#include "device_impl.h"

namespace emu {
namespace usbfs {

struct Reply {
    long res = 0;
    int err = 0;
};

inline Reply error(int err) { return Reply{-1, err}; }

// Resolves `len` bytes behind the pointer at `offset` of `data`; the caller owns the result.
inline UMockdevIoctlData *resolve(UMockdevIoctlData *data, size_t offset, size_t len)
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

inline ClientState &ensureClient(Node *n, UMockdevIoctlClient *client)
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
inline bool claimFor(Device::Impl *d, UMockdevIoctlClient *client)
{
    if (d->claimOwner == client)
        return true;
    if (d->claimOwner || d->bound)
        return false;
    d->claimOwner = client;
    return true;
}

Reply submitUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg);
Reply reapUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg);
Reply discardUrb(Node *n, UMockdevIoctlClient *client, UMockdevIoctlData *arg);

} // namespace usbfs
} // namespace emu
