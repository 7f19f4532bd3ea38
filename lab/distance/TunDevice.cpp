#include "TunDevice.h"

#include <linux/if_tun.h>

#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace velmora::lab {

TunDevice::TunDevice(const std::string &name) : file(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC))
{
    if (file < 0)
        throw std::system_error(errno, std::generic_category(), "/dev/net/tun");
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (name.size() >= sizeof(request.ifr_name)) {
        ::close(file);
        throw std::runtime_error("no name of a device: " + name);
    }
    std::copy(name.begin(), name.end(), request.ifr_name);
    if (::ioctl(file, TUNSETIFF, &request) != 0) {
        const int error = errno;
        ::close(file);
        throw std::system_error(error, std::generic_category(), name);
    }
}

TunDevice::~TunDevice()
{
    ::close(file);
}

std::size_t TunDevice::read(std::span<std::byte> buffer) const
{
    for (;;) {
        const ssize_t size = ::read(file, buffer.data(), buffer.size());
        if (size >= 0)
            return static_cast<std::size_t>(size);
        if (errno == EAGAIN)
            return 0;
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "reading from the device");
    }
}

void TunDevice::write(std::span<const std::byte> packet) const
{
    while (::write(file, packet.data(), packet.size()) < 0 && errno == EINTR) {
    }
}

} // namespace velmora::lab
