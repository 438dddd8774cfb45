#ifndef OVRA_SOCKET_NAME_H
#define OVRA_SOCKET_NAME_H

#include <cstdint>
#include <string>

#include <sys/un.h>

namespace kiv::transport {

constexpr const char *socket_folder = "/run/kiv";

// The path of an address, with an ending for what stands beside its socket.
std::string socket_path(uint64_t address, const char *ending = "");

sockaddr_un socket_address(const std::string &path);

} // namespace kiv::transport

#endif
