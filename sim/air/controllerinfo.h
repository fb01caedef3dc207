#pragma once

#include <QtGlobal>

// What a device's link layer tells the far end of a link about itself: its version, its features
// and the PHYs it takes. The defaults are a simulated dongle's, and a world device's unless its
// file says otherwise.
struct ControllerInfo {
    // PHYs as the bits of PHY Update's masks name them.
    enum Phy : quint8 { Phy1M = 1, Phy2M = 2, PhyCoded = 4 };
    // Feature bits, as Get Peer Features shows them.
    static constexpr quint32 DataLengthExtension = 1u << 5;
    static constexpr quint32 Le2MPhy = 1u << 8;
    static constexpr quint32 LeCodedPhy = 1u << 11;
    static constexpr quint32 ChannelSelection2 = 1u << 14;

    quint16 company = 0xFFFF; // the company identifier kept for tests, no maker's
    quint8 lmpVersion = 9; // 5.0
    quint16 lmpSubversion = 0x0100;
    // Without the PHY bits, which follow `phys`: encryption to extended scanner filter policies,
    // extended and periodic advertising, channel selection algorithm #2.
    quint32 features = 0x00FF | 0x1000 | 0x2000 | ChannelSelection2;
    quint8 phys = Phy1M | Phy2M | PhyCoded;

    // Of the PHYs in a mask, the fastest (LE 2M, then LE 1M, then LE Coded); 0 when none is.
    static quint8 fastest(quint8 phys)
    {
        for (const quint8 phy : {Phy2M, Phy1M, PhyCoded}) {
            if (phys & phy)
                return phy;
        }
        return 0;
    }

    quint32 featureBits() const
    {
        return features | (phys & Phy2M ? Le2MPhy : 0) | (phys & PhyCoded ? LeCodedPhy : 0);
    }
};
