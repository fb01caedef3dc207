#pragma once

#include <QMetaType>
#include <QString>

// A connected isochronous group as the user defined it. Numbers stay the decimal text the form
// gave, so that an edit shows exactly what was typed.
struct cigParameter
{
    QString cig_id;
    QString sdu_interval_m2s;
    QString sdu_interval_s2m;
    QString transport_latency_m2s;
    QString transport_latency_s2m;
    QString sca;
    QString packing;
    QString framing;
    // 1 once the dongle took the group.
    quint8 configured = 0;
};

// One stream of a group, and what the dongle made of it.
struct cisParameter
{
    int checked = 0; // a Qt::CheckState
    QString cis_id;
    QString max_sdu_m2s;
    QString max_sdu_s2m;
    QString phy_m2s;
    QString phy_s2m;
    QString rtn_m2s;
    QString rtn_s2m;
    QString connection_handle; // decimal; empty until the dongle assigned it
    quint8 connected = 0;
};

// A BIG to synchronise to, as the user defined it for the train of the page.
struct bigParameter
{
    QString big_id;
    QString big_sync_timeout;
    QString encryption;
    QString broadcastcode; // as typed: bytes in wire order, colons between them
    QString mse;
    // 1 once the dongle is synchronised to the BIG.
    quint8 created = 0;
};

// One BIS of a BIG, and the handle the dongle gave it.
struct bisParameter
{
    QString bis_id;
    QString connection_handle; // decimal; empty until the dongle assigned it
};

// A BIG to broadcast from an advertising set.
struct slaveBigPara
{
    QString big_id;
    QString adv_index;
    QString number_bis;
    QString sdu_interval;
    QString max_sdu;
    QString transport_latency;
    QString rtn;
    QString phy;
    QString packing;
    QString framing;
    QString encryption;
    QString broadcastcode;
    // 1 once the dongle runs the BIG.
    quint8 created = 0;
};

Q_DECLARE_METATYPE(cigParameter)
Q_DECLARE_METATYPE(cisParameter)
Q_DECLARE_METATYPE(bigParameter)
Q_DECLARE_METATYPE(bisParameter)
Q_DECLARE_METATYPE(slaveBigPara)
