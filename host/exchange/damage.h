/// \file
/// Classifies bytes without a valid CRC, so that every command gives the same verdict on the same bytes. Pure
/// functions, for any thread; none of them fails.
#ifndef DX7_HOST_DAMAGE_H
#define DX7_HOST_DAMAGE_H

#include <QByteArray>
#include <QString>

namespace dx7 {

/// The reply that a line waits for.
struct AwaitedReply {
    int station = 0;
    int function = 0;
    /// Bytes, with the CRC, unless it is a refusal; 0 while none is awaited.
    int length = 0;
};

enum class Damage {
    /// As many bytes as the awaited reply has.
    WrongCrc,
    /// The beginning of it.
    WrongLength,
    /// Nothing like it.
    Noise
};

/// The bytes from `start` on begin with the station and function code of the awaited reply, or its refusal.
bool headOf(const QByteArray& bytes, int start, const AwaitedReply& awaited);
/// The bytes may be the awaited reply: they begin with its station and function code, or are as many.
bool resembles(const QByteArray& bytes, const AwaitedReply& awaited);
/// `bytes` have no valid CRC.
Damage damageIn(const QByteArray& bytes, const AwaitedReply& awaited);
/// "wrong CRC", "wrong length (3 of 7 bytes)" or "20 bytes of noise", of `count` bytes.
QString damageText(Damage damage, int count, int awaitedLength);
/// The reply to a whole request; length 0 where it has none, or where its function code is not known.
AwaitedReply awaitedReply(const QByteArray& request);

}  // namespace dx7

#endif
