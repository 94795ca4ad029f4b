// kxIoDevice.cpp - the byte devices: base error state, files, memory buffers.
#include <kx/system/kxIoDevice.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace {

// Adds two offsets, saturating instead of overflowing: seeks take any
// caller-supplied value and must not run into undefined behaviour.
int64_t saturatingAdd(int64_t a, int64_t b)
{
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
    return sum;
}

int64_t clampToInt64(uint64_t value)
{
    return value > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) ? std::numeric_limits<int64_t>::max()
                                                                             : static_cast<int64_t>(value);
}

} // namespace

// ---------------------------------------------------------------- kxIoDevice

kxIoDevice::~kxIoDevice() = default;

bool kxIoDevice::hasDeviceError() const { return m_hasError; }

const std::string& kxIoDevice::getDeviceErrorMsg() const { return m_errorMsg; }

bool kxIoDevice::writeBackToDevice() { return isGood(); }

void kxIoDevice::setDeviceError(const std::string& message)
{
    if (m_hasError)
        return;
    m_hasError = true;
    m_errorMsg = message;
}

// ---------------------------------------------------------------- kxIoDeviceFileStream

kxIoDeviceFileStream::kxIoDeviceFileStream(const std::string& path, kxIoDevice::DataWay way, bool binary)
    : m_way(way)
{
    const char* mode = nullptr;
    if (way == kxIoDevice::Read)
        mode = binary ? "rb" : "r";
    else if (way == kxIoDevice::Write)
        mode = binary ? "wb" : "w";
    if (!mode) {
        setDeviceError("Unsupported data way");
        return;
    }
    // A path with an embedded NUL would name another file than the caller meant.
    if (path.empty() || path.find('\0') != std::string::npos) {
        setDeviceError("Invalid file path");
        return;
    }
    m_file = std::fopen(path.c_str(), mode);
    if (!m_file)
        setDeviceError(std::string("Cannot open file: ") + std::strerror(errno));
}

kxIoDeviceFileStream::~kxIoDeviceFileStream() { close(); }

bool kxIoDeviceFileStream::close()
{
    if (!m_file)
        return true;
    const bool ok = std::fclose(m_file) == 0;
    m_file = nullptr;
    if (!ok)
        setDeviceError("Closing the file failed");
    return ok;
}

int64_t kxIoDeviceFileStream::readBytes(void* buffer, int64_t count)
{
    if (!m_file || m_way != kxIoDevice::Read) {
        setDeviceError("readBytes is not supported");
        return 0;
    }
    if (count <= 0 || !buffer)
        return 0;
    const size_t got = std::fread(buffer, 1, static_cast<size_t>(count), m_file);
    if (got < static_cast<size_t>(count) && std::ferror(m_file))
        setDeviceError("Reading the file failed");
    return static_cast<int64_t>(got);
}

int64_t kxIoDeviceFileStream::writeBytes(const void* buffer, int64_t count)
{
    if (!m_file || m_way != kxIoDevice::Write) {
        setDeviceError("Write is not supported");
        return 0;
    }
    if (count <= 0 || !buffer)
        return 0;
    const size_t put = std::fwrite(buffer, 1, static_cast<size_t>(count), m_file);
    if (put < static_cast<size_t>(count))
        setDeviceError("Writing the file failed");
    return static_cast<int64_t>(put);
}

bool kxIoDeviceFileStream::isEndOfData() const
{
    if (!m_file)
        return true;
    return m_way == kxIoDevice::Read ? std::feof(m_file) != 0 : false;
}

bool kxIoDeviceFileStream::writeBackToDevice()
{
    if (m_file && m_way == kxIoDevice::Write && std::fflush(m_file) != 0)
        setDeviceError("Flushing the file failed");
    return isGood();
}

bool kxIoDeviceFileStream::seek(int64_t offset, int direction)
{
    if (!m_file) {
        setDeviceError("seek on a closed file");
        return false;
    }
    int whence = SEEK_SET;
    if (direction == 1)
        whence = SEEK_CUR;
    else if (direction == 2)
        whence = SEEK_END;
    else if (direction != 0) {
        setDeviceError("seek unhandled enum");
        return false;
    }
    if (fseeko(m_file, static_cast<off_t>(offset), whence) != 0)
        setDeviceError("seek failed");
    return isGood();
}

int64_t kxIoDeviceFileStream::tell() const
{
    if (!m_file)
        return -1;
    return static_cast<int64_t>(ftello(m_file));
}

// ---------------------------------------------------------------- kxIoDeviceByteContainerReadOnly

kxIoDeviceByteContainerReadOnly::kxIoDeviceByteContainerReadOnly(const void* data, uint64_t size)
    : m_data(static_cast<const unsigned char*>(data)), m_size(data ? size : 0)
{
}

kxIoDeviceByteContainerReadOnly::~kxIoDeviceByteContainerReadOnly() = default;

int64_t kxIoDeviceByteContainerReadOnly::readBytes(void* buffer, int64_t count)
{
    if (count <= 0 || !buffer || m_position >= m_size)
        return 0;
    const uint64_t n = std::min<uint64_t>(static_cast<uint64_t>(count), m_size - m_position);
    std::memcpy(buffer, m_data + m_position, static_cast<size_t>(n));
    m_position += n;
    return static_cast<int64_t>(n);
}

int64_t kxIoDeviceByteContainerReadOnly::writeBytes(const void*, int64_t)
{
    setDeviceError("Write is not supported");
    return 0;
}

bool kxIoDeviceByteContainerReadOnly::isEndOfData() const { return m_position >= m_size; }

bool kxIoDeviceByteContainerReadOnly::seek(int64_t offset, int direction)
{
    const int64_t size = clampToInt64(m_size);
    int64_t target = clampToInt64(m_position);
    switch (direction) {
    case 0: target = offset; break;
    case 1: target = saturatingAdd(target, offset); break;
    case 2: target = saturatingAdd(size, offset); break;
    default: setDeviceError("seek unhandled enum"); break;
    }
    // The position always ends inside the buffer, even when an error is recorded.
    if (target < 0) {
        setDeviceError("seek offset is negative");
        m_position = 0;
    } else if (target > size) {
        setDeviceError("seek offset is bigger than buffer");
        m_position = m_size;
    } else {
        m_position = static_cast<uint64_t>(target);
    }
    return isGood();
}

int64_t kxIoDeviceByteContainerReadOnly::tell() const { return clampToInt64(m_position); }

// ---------------------------------------------------------------- kxIoDeviceNullWriteOnly

kxIoDeviceNullWriteOnly::kxIoDeviceNullWriteOnly() = default;

kxIoDeviceNullWriteOnly::~kxIoDeviceNullWriteOnly() = default;

int64_t kxIoDeviceNullWriteOnly::readBytes(void*, int64_t)
{
    setDeviceError("readBytes is not supported");
    return 0;
}

int64_t kxIoDeviceNullWriteOnly::writeBytes(const void*, int64_t count)
{
    if (count <= 0)
        return 0;
    m_position = saturatingAdd(m_position, count);
    m_size = std::max(m_size, m_position);
    return count;
}

bool kxIoDeviceNullWriteOnly::isEndOfData() const { return true; }

bool kxIoDeviceNullWriteOnly::seek(int64_t offset, int direction)
{
    // Negative targets are accepted as they are: this device only counts bytes.
    int64_t target = m_position;
    switch (direction) {
    case 0: target = offset; break;
    case 1: target = saturatingAdd(m_position, offset); break;
    case 2: target = saturatingAdd(m_size, offset); break;
    default: setDeviceError("Unhandled seekp enum"); break;
    }
    m_position = target;
    m_size = std::max(m_size, m_position);
    return isGood();
}

int64_t kxIoDeviceNullWriteOnly::tell() const { return m_position; }

// ---------------------------------------------------------------- kxIoDeviceByteContainerWriteOnly

kxIoDeviceByteContainerWriteOnly::kxIoDeviceByteContainerWriteOnly(std::string& target) : m_string(&target) {}

kxIoDeviceByteContainerWriteOnly::kxIoDeviceByteContainerWriteOnly(std::vector<char>& target) : m_vector(&target) {}

kxIoDeviceByteContainerWriteOnly::~kxIoDeviceByteContainerWriteOnly() = default;

int64_t kxIoDeviceByteContainerWriteOnly::readBytes(void*, int64_t)
{
    setDeviceError("readBytes is not supported");
    return 0;
}

int64_t kxIoDeviceByteContainerWriteOnly::writeBytes(const void* buffer, int64_t count)
{
    if (count <= 0 || !buffer)
        return 0;
    const char* bytes = static_cast<const char*>(buffer);
    const size_t n = static_cast<size_t>(count);
    if (m_string)
        m_string->append(bytes, n);
    else
        m_vector->insert(m_vector->end(), bytes, bytes + n);
    return count;
}

bool kxIoDeviceByteContainerWriteOnly::isEndOfData() const { return true; }
