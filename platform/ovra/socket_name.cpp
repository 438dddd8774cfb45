#include "ovra/socket_name.h"

#include <array>
#include <cstdio>

#include <sys/socket.h>

namespace kiv::transport {

std::string socket_path(uint64_t address, const char *ending)
{
    std::array<char, sizeof(sockaddr_un::sun_path)> path{};
    std::snprintf(path.data(), path.size(), "%s/%08X-%u%s", socket_folder,
                  static_cast<uint32_t>(address >> 32), static_cast<uint32_t>(address), ending);
    return path.data();
}

sockaddr_un socket_address(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

} // namespace kiv::transport
