#pragma once

#include <QCoreApplication>
#include <QPointer>
#include <QVector>

#include "air/virtualair.h"
#include "dongle/connectionmanager.h"
#include "dongle/virtualdongle.h"
#include "proto/responder.h"
#include "world/worldloader.h"

// What the targets of a protocol on a link stand on: the air of a world, and a dongle, reset, as
// central of the world's first device.
struct SimLink {
    explicit SimLink(const QVector<VirtualAdvertiser>& world)
    {
        air.setWorld(world);
        dongle.feed(QByteArray::fromHex("AA0001000055"));
        air.connectTo({connections, QByteArray::fromHex("010000000000"), 0}, air.advertisers().at(0), Link::Parameters());
        link = air.findChild<Link*>();
        device = air.advertisers().at(0).peer;
    }
    // The devices of a world file's JSON, read once: a target fuzzes one world.
    static const QVector<VirtualAdvertiser>& world(const QByteArray& json)
    {
        static QVector<VirtualAdvertiser> devices;
        if (devices.isEmpty())
            WorldLoader(QStringLiteral("fuzz.json")).parse(json, &devices);
        return devices;
    }

    VirtualAir air;
    VirtualDongle dongle{0, &air};
    ConnectionManager* connections = dongle.connections();
    QPointer<Link> link; // the events that run may delete it once it ends
    Peer* device = nullptr;
};

// Frames are not held against their rows: a fuzzed simulator would refuse many, noisily.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    Responder::setChecking(false);
    return 0;
}
