// The exchange of a link's fields: each of them goes, and comes back.
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include "driver_fields.h"
#include "support.h"

namespace dx7test {
namespace {

void callback(int, int, QString&, int) {}
unsigned char hostMemory[64];
QMutex hostMutex;

// Gives a field a content that no field of the same type gets under another number, and no new object has.
void give(int& field, int number) {
    field = number;
}
void give(quintptr& field, int number) {
    field = static_cast<quintptr>(number);
}
void give(ValueChangeCallback& field, int) {
    field = callback;
}
void give(unsigned char*& field, int number) {
    field = hostMemory + number;
}
void give(QMutex*& field, int) {
    field = &hostMutex;
}
void give(VARIABLE& field, int number) {
    field = request(number, "F", number, 1);
}
void give(QList<VARIABLE>& field, int number) {
    field << request(number, "F", number, 1);
}
void give(QList<_DATA_>& field, int number) {
    field << area(number, "F", number);
}
void give(QVector<_RCP_VAR_PRO>& field, int number) {
    field << recipeVariable(1, number, "F", number, 1, 0);
}
void give(QList<int>& field, int number) {
    field << number;
}
void give(QList<QString>& field, int number) {
    field << QString::number(number);
}
void give(QList<FRAME_PRO>& field, int number) {
    FRAME_PRO frame;
    frame.station = number;
    field << frame;
}

QString textOf(int number) {
    return QString::number(number);
}
QString textOf(const QString& text) {
    return text;
}
QString textOf(quintptr number) {
    return QString::number(number);
}
QString textOf(const void* pointer) {
    return textOf(reinterpret_cast<quintptr>(pointer));
}
QString textOf(ValueChangeCallback function) {
    return textOf(reinterpret_cast<quintptr>(function));
}
template <typename Record>
auto textOf(const Record& record) -> decltype(record.regType) {
    return record.regType + QString::number(record.station);
}
template <typename List>
auto textOf(const List& list) -> decltype(QString(list.size(), QChar())) {
    QStringList texts;
    for (const auto& element : list) {
        texts << textOf(element);
    }
    return texts.join(",");
}

/// A text for every field of the object.
QStringList fieldsOf(const korvalent_dx7& object) {
    QStringList fields;
#define ADD_TEXT(name) fields << #name " " + textOf(object.name);
    DX7_DRIVER_FIELDS(ADD_TEXT)
#undef ADD_TEXT
    return fields;
}

void fill(korvalent_dx7& object) {
    int number = 1;
#define GIVE(name) give(object.name, number++);
    DX7_DRIVER_FIELDS(GIVE)
#undef GIVE
}

TEST(Swap, ExchangesEveryField) {
    korvalent_dx7 one;
    korvalent_dx7 other;
    const QStringList fresh = fieldsOf(other);
    fill(one);
    const QStringList filled = fieldsOf(one);
    for (int i = 0; i < fresh.size(); ++i)
        EXPECT_NE(fresh.at(i), filled.at(i)) << "the field is not told apart";

    one.swap(other);
    EXPECT_EQ(fresh, fieldsOf(one));
    EXPECT_EQ(filled, fieldsOf(other));
    one.swap(other);
    EXPECT_EQ(filled, fieldsOf(one));
    EXPECT_EQ(fresh, fieldsOf(other));
}

TEST(Swap, WithItselfChangesNothing) {
    korvalent_dx7 one;
    fill(one);
    const QStringList filled = fieldsOf(one);
    one.swap(one);
    EXPECT_EQ(filled, fieldsOf(one));
}

}  // namespace
}  // namespace dx7test
