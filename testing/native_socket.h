// The socket calls as each platform has them, for TcpSocket alone.
//
//   Errors   by result: kNoSocket, false, 0 or a negative count.
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

using NativeSocket = intptr_t;
inline constexpr NativeSocket kNoSocket = -1;  // also INVALID_SOCKET

NativeSocket OpenNativeSocket();
// On a port that the system chooses.
bool ListenOnLoopback(NativeSocket socket);
bool ConnectToLoopback(NativeSocket socket, uint16_t port);
uint16_t LocalPort(NativeSocket socket);
NativeSocket AcceptNativeSocket(NativeSocket listener);
// From then on a Receive or Send that has moved nothing for so long fails.
void SetTransferTimeout(NativeSocket socket, uint32_t ms);
ptrdiff_t ReceiveSome(NativeSocket socket, char* buffer, size_t count);
ptrdiff_t SendSome(NativeSocket socket, const char* bytes, size_t count);
void ShutDownSending(NativeSocket socket);
void ShutDownBoth(NativeSocket socket);
void CloseNativeSocket(NativeSocket socket);
void ResetNativeSocket(NativeSocket socket);  // closed too

}  // namespace receiver
