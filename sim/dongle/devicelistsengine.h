#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include "engine.h"

class Request;

// The lists a dongle keeps about other devices: the white list and the periodic advertiser list
// of its controller, the bonds its host stack holds in flash, and the resolving list made from
// the bonds that gave an identity key. Resolvable private addresses are computed from those keys.
class DeviceListsEngine final : public Engine
{
public:
    static constexpr int WhitelistSize = 10;
    static constexpr int PeriodicListSize = 4;
    static constexpr int BondListSize = 8;

    struct Bond
    {
        QByteArray address; // 6 bytes, wire order
        quint8 addressType = 0;
        QByteArray peerIrk; // 16 bytes in wire order, or empty when the peer gave none
        QByteArray ltk; // the link key that the pairing left, wire order
        quint8 privacyMode = 0; // 0 network, 1 device
        QByteArray peerRpa; // made at first read, kept until the next reset
        QByteArray localRpa;
    };

    explicit DeviceListsEngine(VirtualDongle& dongle);

    void install(Router& router) override;
    void reset() override;

    // Entries of 7 bytes: address in wire order, then its type.
    const QVector<QByteArray>& whitelist() const { return m_whitelist; }
    // Entries of 8 bytes: address, type, advertising SID.
    const QVector<QByteArray>& periodicList() const { return m_periodicList; }
    const QVector<Bond>& bonds() const { return m_bonds; }
    const QByteArray& localIrk() const { return m_localIrk; }
    // A bond as a pairing leaves it; an empty message when it was taken. A full list refuses it,
    // or with `evictOldest` makes room as a stack does for a new pairing.
    QString addBond(const QByteArray& address, quint8 addressType, const QByteArray& peerIrk,
                    const QByteArray& ltk = QByteArray(), bool evictOldest = false);

private:
    void editWhitelist(const Request& request, bool add);
    void editPeriodicList(const Request& request, bool add);
    void deleteBond(const Request& request);
    void sendResolvingList();
    void updatePrivacyMode(const Request& request);
    void readResolvableAddress(const Request& request);
    int bondIndex(const QByteArray& address, quint8 addressType) const;
    quint8 editList(QVector<QByteArray>& list, const QByteArray& entry, bool add, int capacity);

    QVector<QByteArray> m_whitelist;
    QVector<QByteArray> m_periodicList;
    QVector<Bond> m_bonds;
    QByteArray m_localIrk; // wire order
};
