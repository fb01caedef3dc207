#pragma once

#include "firmware/cdownloadfirmware.h"

// A download without the pauses that leave a real dongle time to write and restart: they would
// only hold up a test or a fuzzer.
class QuickDownload : public cDownLoadFirmWare
{
public:
    using cDownLoadFirmWare::cDownLoadFirmWare;

protected:
    void pause(int) override {}
};
