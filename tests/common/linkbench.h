#pragma once

#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"

// What a page of the tool stands on: a logger whose lines the test reads, and a port, open on a
// pseudo-terminal whose far end the test holds unless the test wants it closed.
struct LinkBench
{
    explicit LinkBench(bool open = true)
    {
        logger.addLogger(log = new CaptureLogger);
        if (open)
            msg.openPort(pty.portName());
        log->clear();
    }

    PtyPair pty;
    LogManager logger{"bench"};
    CaptureLogger* log = nullptr; // owned by the logger
    CMsg msg{&logger};
};
