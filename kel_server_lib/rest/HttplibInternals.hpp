#pragma once

#include <string>

#include <httplib.h>

// What the HTTP library has compiled in but declares to itself alone: how it waits for a socket and
// reads a header, on every system. The linker tells when one of them changes.
// NOLINTBEGIN(readability-identifier-naming): the library's names
namespace httplib::detail {

ssize_t select_read(socket_t socket, time_t seconds, time_t microseconds);
ssize_t select_write(socket_t socket, time_t seconds, time_t microseconds);
bool is_socket_alive(socket_t socket);
int shutdown_socket(socket_t socket);
void get_remote_ip_and_port(socket_t socket, std::string& address, int& port);
void get_local_ip_and_port(socket_t socket, std::string& address, int& port);
bool is_chunked_transfer_encoding(const Headers& headers);

} // namespace httplib::detail
// NOLINTEND(readability-identifier-naming)
