#pragma once

#include <QtGlobal>

// A PSM that a device of the world serves on LE credit-based channels, as its world file gives it.
struct L2capService {
    // An echo sends every SDU back; a sink takes them.
    enum Kind { Echo, Sink };

    quint16 psm = 0;
    Kind kind = Echo;
    int mtu = 512;
    int mps = 247;
    int credits = 10; // the K-frames it lets the far end send at first
    int security = 0; // what it asks of the link, a CreditChannels::Security
};
