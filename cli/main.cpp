#include "QvaneCommand.h"
#include "foundation/MemoryTuning.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    qv::tuneMemoryForLargeWork(qv::LargeBlocks::GivenBack);  // one command, one large task
    qv::setGiveBackMemoryAfterLargeWork(true);  // one command, one save at most
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qvane"));
    QStringList args = QCoreApplication::arguments();
    args.removeFirst();
    return qv::cli::run(args);
}
