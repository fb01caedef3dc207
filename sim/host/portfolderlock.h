#pragma once

#include <QString>

// Keeps a port folder to one simulator: a second one on the same folder would take over the
// first one's links under the tool's feet. The lock is a file lock, so the kernel lets go of it
// when the holder dies, however hard.
class PortFolderLock
{
public:
    explicit PortFolderLock(const QString& folder);
    ~PortFolderLock();
    PortFolderLock(const PortFolderLock&) = delete;
    PortFolderLock& operator=(const PortFolderLock&) = delete;

    // False, with a message naming the folder and the holder, when another simulator has it.
    bool acquire(QString* error);

private:
    QString m_folder;
    QString m_path;
    int m_fd = -1;
};
