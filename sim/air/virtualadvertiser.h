#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QString>
#include <QVector>

#include "controllerinfo.h"
#include "l2capservice.h"
#include "securitymanager.h"

class Peer;

// One advertiser in the virtual air: a peripheral of the world file or an advertising set of a
// simulated dongle.
struct VirtualAdvertiser {
    enum Kind { Legacy, Extended };

    QString name;
    QByteArray address; // 6 bytes in wire order, least significant first
    quint8 addressType = 1;
    Kind kind = Legacy;
    bool connectable = true;
    bool scannable = true;
    int intervalMs = 100;
    qint8 txPower = 127; // 127: not available
    qint8 rssi = -60;
    quint8 sid = 0;
    quint8 primaryPhy = 1;
    quint8 secondaryPhy = 2; // extended only; legacy reports leave it to the tool
    int periodicIntervalMs = 0; // 0: not a periodic advertiser
    // Address and type of the one central that a directed advertiser is meant for; empty when
    // it is meant for all.
    QByteArray directedTo;
    QByteArray advData;
    QByteArray scanResponse;
    QByteArray periodicData;
    // The GATT database the device serves, as the world file writes it.
    QJsonArray services;
    // What its link layer tells a central; a dongle's sets leave it to the dongle.
    ControllerInfo controller;
    // The PSMs that a device of the world serves on credit-based channels, and how many channels
    // it takes at once; a dongle's sets leave them to the dongle.
    QVector<L2capService> l2cap;
    int l2capChannels = 2;
    // Whether a device of the world takes the connected isochronous streams that its central asks for.
    bool cis = false;
    // How a device of the world pairs, and the passkey it always uses; -1: a new one each time.
    SecurityManager::Parameters security;
    int passkey = -1;
    // -1 for a device of the world; otherwise the number of the dongle that advertises, and the
    // index of its advertising set.
    int owner = -1;
    int set = -1;
    // Who answers a connection; null for an advertiser that takes none.
    Peer* peer = nullptr;
};
