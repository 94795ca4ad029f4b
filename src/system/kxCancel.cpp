// kxCancel.cpp - cancellation proxies.
#include <kx/system/kxCancel.h>

kxCancelInterfaceReadOnly::~kxCancelInterfaceReadOnly() = default;

kxCancelInterfaceProxyReadOnly::kxCancelInterfaceProxyReadOnly(const bool* flag,
                                                               const kxCancelInterfaceReadOnly* parent)
    : m_flag(flag), m_parent(parent)
{
}

bool kxCancelInterfaceProxyReadOnly::shouldCancel() const
{
    if (m_flag && *m_flag)
        return true;
    return m_parent ? m_parent->shouldCancel() : false;
}

kxCancelInterfaceProxy::kxCancelInterfaceProxy(bool* flag, kxCancelInterface* parent,
                                               const kxCancelInterfaceReadOnly* observed)
    : m_flag(flag), m_parent(parent), m_observed(observed)
{
}

bool kxCancelInterfaceProxy::shouldCancel() const
{
    // The flag is documented as never null; a null one is read as "not set".
    if (m_flag && *m_flag)
        return true;
    if (m_parent && m_parent->shouldCancel())
        return true;
    return m_observed ? m_observed->shouldCancel() : false;
}

void kxCancelInterfaceProxy::cancel()
{
    if (m_flag)
        *m_flag = true;
    if (m_parent)
        m_parent->cancel();
}

kxProgressMonitorable::~kxProgressMonitorable() = default;

kxProgressNotifierInterface::~kxProgressNotifierInterface() = default;
