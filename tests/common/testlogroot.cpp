// Linked into every test: the runs it logs go to a temporary folder that goes away with it,
// not beside the test executable in the build tree.
#include <QCoreApplication>
#include <QTemporaryDir>

#include "log/logmanager.h"

namespace {

void logIntoATemporaryFolder()
{
    static QTemporaryDir folder;
    LogManager::setDataRoot(folder.path());
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(logIntoATemporaryFolder)
