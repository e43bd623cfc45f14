#include "engine/capture/CaptureSource.h"

#include <chrono>
#include <cstring>
#include <pthread.h>

double captureClockNow() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void nameCurrentThread(const char* queueName) {
    char name[16] = {};
    std::strncpy(name, queueName, sizeof name - 1);
    pthread_setname_np(pthread_self(), name);
}
