#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace velmora::lab {

/// One end of a TUN device: reads the packets that are routed to it, and what is written to it arrives from
/// it.
class TunDevice
{
public:
    /// Attaches to the device, which exists. Throws std::runtime_error when that does not work.
    explicit TunDevice(const std::string &name);
    ~TunDevice();
    TunDevice(const TunDevice &) = delete;
    TunDevice &operator=(const TunDevice &) = delete;

    /// For ppoll(2).
    int descriptor() const { return file; }
    /// Reads the next packet into the buffer and returns its size; 0 when none waits.
    std::size_t read(std::span<std::byte> buffer) const;
    /// A packet that the device does not take is lost, as on any wire.
    void write(std::span<const std::byte> packet) const;

private:
    int file;
};

} // namespace velmora::lab
