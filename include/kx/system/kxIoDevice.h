// kxIoDevice.h - byte devices: the framework's abstraction of a stream.
#ifndef KX_SYSTEM_KXIODEVICE_H
#define KX_SYSTEM_KXIODEVICE_H

#include <kx/system/Export.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// A sequential byte source or sink. Errors are recorded in the device
/// (`hasDeviceError`, `getDeviceErrorMsg`), never thrown.
class KXSYSTEM_API kxIoDevice {
public:
    enum DataWay { Read = 1, Write = 2 };

    virtual ~kxIoDevice();
    /// Reads up to `count` bytes; returns how many were read, 0 at the end or on error.
    virtual int64_t readBytes(void* buffer, int64_t count) = 0;
    /// Writes `count` bytes; returns how many were written.
    virtual int64_t writeBytes(const void* buffer, int64_t count) = 0;
    virtual bool isEndOfData() const = 0;
    virtual bool hasDeviceError() const;
    virtual const std::string& getDeviceErrorMsg() const;
    /// Flushes buffered output to the underlying medium; false on error.
    virtual bool writeBackToDevice();

protected:
    /// Records an error (the first message is kept when several occur).
    void setDeviceError(const std::string& message);
    /// True while no error has been recorded.
    bool isGood() const { return !m_hasError; }

private:
    bool m_hasError = false;
    std::string m_errorMsg;
};

/// A device that can change its position.
class KXSYSTEM_API kxIoDeviceRandomAccess : public kxIoDevice {
public:
    /// Moves the position: `direction` 0 from the start, 1 from the current position, 2 from the end.
    /// Returns false once the device holds an error.
    virtual bool seek(int64_t offset, int direction) = 0;
    virtual int64_t tell() const = 0;
};

/// A file opened for reading or writing (`binary` keeps bytes unchanged).
class KXSYSTEM_API kxIoDeviceFileStream : public kxIoDeviceRandomAccess {
public:
    kxIoDeviceFileStream(const std::string& path, kxIoDevice::DataWay way, bool binary);
    ~kxIoDeviceFileStream() override;
    kxIoDeviceFileStream(const kxIoDeviceFileStream&) = delete;
    kxIoDeviceFileStream& operator=(const kxIoDeviceFileStream&) = delete;

    bool isOpen() const { return m_file != nullptr; }
    /// Flushes and closes; false when that fails. Called by the destructor.
    bool close();

    int64_t readBytes(void* buffer, int64_t count) override;
    int64_t writeBytes(const void* buffer, int64_t count) override;
    bool isEndOfData() const override;
    bool writeBackToDevice() override;
    bool seek(int64_t offset, int direction) override;
    int64_t tell() const override;

private:
    std::FILE* m_file = nullptr;
    kxIoDevice::DataWay m_way;
};

/// Reads from a caller-owned memory buffer (not copied; it must outlive the device).
class KXSYSTEM_API kxIoDeviceByteContainerReadOnly : public kxIoDeviceRandomAccess {
public:
    kxIoDeviceByteContainerReadOnly(const void* data, uint64_t size);
    ~kxIoDeviceByteContainerReadOnly() override;

    int64_t readBytes(void* buffer, int64_t count) override;
    /// Not supported: records "Write is not supported" and returns 0.
    int64_t writeBytes(const void* buffer, int64_t count) override;
    bool isEndOfData() const override;
    /// Clamps the position into [0, size], recording an error when it had to.
    bool seek(int64_t offset, int direction) override;
    int64_t tell() const override;

private:
    const unsigned char* m_data;
    uint64_t m_size;
    uint64_t m_position = 0;
};

/// Discards everything written but counts it: `tell` and the largest offset reached.
class KXSYSTEM_API kxIoDeviceNullWriteOnly : public kxIoDeviceRandomAccess {
public:
    kxIoDeviceNullWriteOnly();
    ~kxIoDeviceNullWriteOnly() override;

    /// Not supported: records "readBytes is not supported" and returns 0.
    int64_t readBytes(void* buffer, int64_t count) override;
    int64_t writeBytes(const void* buffer, int64_t count) override;
    bool isEndOfData() const override;
    bool seek(int64_t offset, int direction) override;
    int64_t tell() const override;
    /// The largest offset ever reached.
    int64_t size() const { return m_size; }

private:
    int64_t m_position = 0;
    int64_t m_size = 0;
};

/// Appends everything written to a caller-owned `std::string` or `std::vector<char>`.
class KXSYSTEM_API kxIoDeviceByteContainerWriteOnly : public kxIoDevice {
public:
    explicit kxIoDeviceByteContainerWriteOnly(std::string& target);
    explicit kxIoDeviceByteContainerWriteOnly(std::vector<char>& target);
    ~kxIoDeviceByteContainerWriteOnly() override;

    /// Not supported: records "readBytes is not supported" and returns 0.
    int64_t readBytes(void* buffer, int64_t count) override;
    int64_t writeBytes(const void* buffer, int64_t count) override;
    bool isEndOfData() const override;

private:
    std::string* m_string = nullptr;
    std::vector<char>* m_vector = nullptr;
};

#endif
