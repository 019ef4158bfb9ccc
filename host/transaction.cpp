#include "transaction.h"

#include "rtu_frame.h"

namespace dx7 {

QString outcomeText(const Transaction& transaction) {
    switch (transaction.outcome) {
        case Outcome::Good:
            return QStringLiteral("good");
        case Outcome::WrongCrc:
            return QStringLiteral("wrong CRC");
        case Outcome::WrongLength:
            return QStringLiteral("wrong length (%1 of %2 bytes)")
                .arg(transaction.reply.size())
                .arg(transaction.frame.expectLen);
        case Outcome::Exception:
            return QStringLiteral("exception %1 (%2)")
                .arg(transaction.exceptionCode)
                .arg(exceptionName(transaction.exceptionCode));
        default:
            return QStringLiteral("no reply");
    }
}

}  // namespace dx7
