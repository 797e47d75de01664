// A monitor that does not check whether a send succeeded: the sweep has to see that a printed document did not arrive.
// The library is linked so that its calls of send come here.
#include "winapi/winapi.h"

int system_send(SOCKET socket, const char* data, int size, int flags) asm("__real__Z4sendyPKcii");
int planted_send(SOCKET socket, const char* data, int size, int flags) asm("__wrap__Z4sendyPKcii");

int planted_send(SOCKET socket, const char* data, int size, int flags) {
    system_send(socket, data, size, flags);
    return size;
}
