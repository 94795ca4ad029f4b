// kxCancel.h - cancellation interfaces and progress notification.
#ifndef KX_SYSTEM_KXCANCEL_H
#define KX_SYSTEM_KXCANCEL_H

#include <kx/system/Export.h>

/// Something that can be asked whether work should stop.
class KXSYSTEM_API kxCancelInterfaceReadOnly {
public:
    virtual ~kxCancelInterfaceReadOnly();
    virtual bool shouldCancel() const = 0;
};

/// A cancellation interface that can also be triggered.
class KXSYSTEM_API kxCancelInterface : public kxCancelInterfaceReadOnly {
public:
    virtual void cancel() = 0;
};

/// Answers from a caller's flag, else from a parent interface.
class KXSYSTEM_API kxCancelInterfaceProxyReadOnly : public kxCancelInterfaceReadOnly {
public:
    /// `flag` and `parent` may be null; neither is owned.
    kxCancelInterfaceProxyReadOnly(const bool* flag, const kxCancelInterfaceReadOnly* parent);
    /// True when the flag is set and true; otherwise the parent's answer, or false.
    bool shouldCancel() const override;

private:
    const bool* m_flag;
    const kxCancelInterfaceReadOnly* m_parent;
};

/// A triggerable proxy: `cancel` sets the flag and cancels the parent; the observed
/// interface is only asked, never cancelled.
class KXSYSTEM_API kxCancelInterfaceProxy : public kxCancelInterface {
public:
    /// `flag` must not be null; `parent` and `observed` may be. Nothing is owned.
    kxCancelInterfaceProxy(bool* flag, kxCancelInterface* parent, const kxCancelInterfaceReadOnly* observed);
    bool shouldCancel() const override;
    void cancel() override;

private:
    bool* m_flag;
    kxCancelInterface* m_parent;
    const kxCancelInterfaceReadOnly* m_observed;
};

/// Polymorphic base of objects whose progress can be monitored.
class KXSYSTEM_API kxProgressMonitorable {
public:
    virtual ~kxProgressMonitorable();
};

/// Receives progress reports. The SVG library accepts one on load and save
/// and passes it down, but does not report progress.
class KXSYSTEM_API kxProgressNotifierInterface {
public:
    virtual ~kxProgressNotifierInterface();
    /// `fraction` in [0, 1].
    virtual void notifyProgress(double fraction) = 0;
};

#endif
