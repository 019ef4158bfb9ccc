// The exchange of a link's fields: each of them goes, and comes back.
#include <QtCore/QByteArray>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include "support.h"

namespace dx7test {
namespace {

void callback(int, int, QString&, int) {}

/// Every field of the object as one text.
QString fieldsOf(const korvalent_dx7& object) {
    const auto pointer = [](const void* address) {
        return QString::number(reinterpret_cast<quintptr>(address));
    };
    const auto request = [](const VARIABLE& var) {
        return QString("%1/%2/%3").arg(var.opKind).arg(var.regType).arg(var.data[7]);
    };
    QStringList fields;
    fields << QString::number(reinterpret_cast<quintptr>(object.valueChangeCallback))
           << QString::number(object.linkId) << QString::number(object.propField1)
           << QString::number(object.propField2) << QString::number(object.retryCount)
           << QString::number(object.maxBlockWords) << pointer(object.hostFlags)
           << QString::number(object.hostParam2) << pointer(object.recipeMemory) << pointer(object.hostMutex)
           << QString::number(object.pollList.size()) << QString::number(object.writeList.size())
           << QString::number(object.conditionList.size()) << QString::number(object.dataAreas.size())
           << QString::number(object.recipeVars.size()) << QString::number(object.recipeBlocks.size())
           << QString::number(object.recipeBlockStart.size()) << QStringList(object.regNames).join(",")
           << request(object.conditionVar) << request(object.currentVar) << QString::number(object.opKind)
           << QString::number(object.burstCount) << QString::number(object.reservedA)
           << QString::number(object.badReplyCount) << QString::number(object.maxBlockBits)
           << QString::number(object.maxBlockWordsCopy) << QString::number(object.commFailed)
           << QString::number(object.reservedB) << QString::number(object.reservedC)
           << QString::number(object.frameList.size()) << QString::number(object.recipeIndex);
    return fields.join(" ");
}

/// Gives every field a value of its own that a new object does not have.
void fill(korvalent_dx7& object, QMutex& mutex, unsigned char* memory) {
    int next = 1;
    object.valueChangeCallback = callback;
    for (int* field : {&object.linkId, &object.propField1, &object.propField2, &object.retryCount,
                       &object.maxBlockWords, &object.opKind, &object.burstCount, &object.reservedA,
                       &object.badReplyCount, &object.maxBlockBits, &object.maxBlockWordsCopy,
                       &object.commFailed, &object.reservedB, &object.reservedC, &object.recipeIndex}) {
        *field = next++;
    }
    object.hostFlags = memory;
    object.hostParam2 = 77;
    object.recipeMemory = memory + 1;
    object.hostMutex = &mutex;
    object.pollList << request(1, "F", 0, 1);
    object.writeList << request(1, "F", 0, 1) << request(2, "F", 0, 1);
    object.conditionList << request(1, "F", 0, 1) << request(2, "F", 0, 1) << request(3, "F", 0, 1);
    object.dataAreas << area(1, "F", 0) << area(1, "F", 1);
    object.recipeVars.resize(5);
    object.recipeBlocks.resize(6);
    object.recipeBlockStart << 1 << 2 << 3;
    object.regNames << "own";
    object.conditionVar = request(1, "D", 1, 1, 30, QByteArray(8, 'c'));
    object.currentVar = request(1, "DE", 1, 1, 31, QByteArray(8, 'd'));
    object.frameList << FRAME_PRO() << FRAME_PRO();
}

TEST(Swap, ExchangesEveryField) {
    QMutex mutex;
    unsigned char memory[2] = {};
    korvalent_dx7 one;
    korvalent_dx7 other;
    const QString fresh = fieldsOf(other);
    fill(one, mutex, memory);
    const QString filled = fieldsOf(one);
    const QStringList freshFields = fresh.split(" ");
    const QStringList filledFields = filled.split(" ");
    ASSERT_EQ(31, freshFields.size());
    for (int i = 0; i < freshFields.size(); ++i)
        EXPECT_NE(freshFields.at(i), filledFields.at(i)) << "field " << i + 1 << " is not told apart";

    one.swap(other);
    EXPECT_EQ(fresh, fieldsOf(one));
    EXPECT_EQ(filled, fieldsOf(other));
    one.swap(other);
    EXPECT_EQ(filled, fieldsOf(one));
    EXPECT_EQ(fresh, fieldsOf(other));
}

TEST(Swap, WithItselfChangesNothing) {
    QMutex mutex;
    unsigned char memory[2] = {};
    korvalent_dx7 one;
    fill(one, mutex, memory);
    const QString filled = fieldsOf(one);
    one.swap(one);
    EXPECT_EQ(filled, fieldsOf(one));
}

}  // namespace
}  // namespace dx7test
