#pragma once

// The one place that includes the Windows headers. Macros that collide with our names and with those of the
// libraries (protobuf has GetMessage, our exceptions too) are undone here, so that no other file needs to know.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#undef GetMessage
#undef GetObject
#undef GetJob
#undef GetCurrentTime
#undef CreateEvent
#undef OpenEvent
#undef ERROR
#undef interface
#undef min
#undef max
