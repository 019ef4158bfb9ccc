#include "generators.h"

#include <climits>

#include "host_script.h"
#include "rig.h"

namespace differential {

using model::Byte;
using model::Text;
namespace gen = rc::gen;

namespace {

rc::Gen<int> between(int lowest, int highest) {
    return gen::inRange(lowest, highest + 1);
}

rc::Gen<Text> textsOver(const Text& alphabet, int longest) {
    return gen::mapcat(between(0, longest), [alphabet](int size) {
        return gen::container<Text>(static_cast<std::size_t>(size), gen::elementOf(alphabet));
    });
}

}  // namespace

rc::Gen<Text> storedTypes() {
    // A few types come often, so that operations meet the items of earlier ones.
    static const auto every =
        gen::element<Text>(u"CW", u"DO", u"F", u"MOD", u"AI", u"CW_bit", u"SW_bit", u"RO", u"SDO", u"DI",
                           u"FIN", u"D", u"DE", u"SW", u"FAS", u"FAS");
    static const auto generator = gen::oneOf(gen::element<Text>(u"CW", u"DO", u"F", u"RO"), every);
    return generator;
}

rc::Gen<Text> regTypes() {
    static const auto generator = gen::weightedOneOf<Text>(
        {{12, storedTypes()},
         {1, gen::element<Text>(u"FW", u"FI", u"XX", u"", u"cw_bit", u"CW ", u"CW_bi", u"CW_bitt", u"f",
                                u"RWI", u"-1", u"%1", u"%3(%4)", u"\u0424", u"F_double", u"CW_bit_bit")}});
    return generator;
}

rc::Gen<int> stations() {
    static const auto generator =
        gen::weightedOneOf<int>({{20, gen::just(1)},
                                 {4, between(1, 2)},
                                 {2, between(0, 4)},
                                 {1, gen::element(0, 0x101, 255, -1, 247, INT_MAX, INT_MIN)}});
    return generator;
}

rc::Gen<int> addresses() {
    static const auto generator = gen::weightedOneOf<int>(
        {{12, between(0, 6)},
         {8, between(0, 20)},
         {4, between(0, 130)},
         {3, gen::element(0, 7, 8, 9, 10, 15, 16, 19, 20, 49, 50, 54, 55, 56, 57, 63, 65, 66, 111, 112, 113,
                          600, 839, 840, 895, 896, 897, 1000)},
         {1, between(-20, -1)},
         {1, gen::element(0x105, 255, 256, 65535, 65536, 65535 - 3, 327675, -327675, 5 * 65535, -65535,
                          INT_MAX, INT_MAX - 1, INT_MAX - 7, INT_MIN, INT_MIN + 1, INT_MIN + 7)}});
    return generator;
}

rc::Gen<int> counts() {
    static const auto generator =
        gen::weightedOneOf<int>({{12, between(1, 4)},
                                 {5, between(0, 20)},
                                 {2, gen::element(7, 8, 9, 10, 16, 17, 25, 64, 65, 100)},
                                 {1, gen::element(0, -1, -2, -4, -8, -9, -16, -20, -33)}});
    return generator;
}

rc::Gen<int> anyInts() {
    static const auto generator = gen::weightedOneOf<int>(
        {{6, between(-3, 5)}, {2, between(-70, 70)}, {1, gen::element(INT_MAX, INT_MIN, 255, 256, 65536)}});
    return generator;
}

rc::Gen<int> dataSeeds() {
    static const auto generator = between(0, 40);
    return generator;
}

rc::Gen<Text> addressTexts() {
    static const Text longText(300, u'1');
    static const auto generator = gen::weightedOneOf<Text>(
        {{4, gen::map(addresses(), [](int number) { return model::decimal(number); })},
         {4, gen::element<Text>(u"0", u"F.#.55", u"10.0.00", u"10.0.0", u"10.0.01", u"1.#.55", u"2.0.00",
                                u"2.0.01", u"3.0.56", u"G.0.00", u"1.0", u"1..7", u"a.x.5", u" 5", u"5 ",
                                u"+5", u"-0", u"-1", u"0x5.0.3", u"0x5", u"1z.0.3", u"", u".", u"..", u"...",
                                u"1.0.", u".0.1", u"1.0.0.1", u"0000", u"00", u"F.#.555", u"f.#.+5",
                                u"1.0.-5", u"1.-.5", u"F.+.5", u"1. .5", u"1.0. 5", u"1 .0.5", u"\t1", u"1\n",
                                u"1e2", u"1.5", u"1,5", u"2147483647", u"2147483648", u"-2147483648",
                                u"99999999999", u"7fffffff.0.1", u"80000000.0.1", u"ffffffff.0.0",
                                u"2492492.0.8", u"\u0663", u"\uFF15", u"1.\u0663.5", u"\u0661.0.5",
                                u"\uFF21.0.5", u"\u0141.0.5", u"a\u0301.0.5", u"abc", u"0b1", u"1_0", u"#",
                                u"F.#.#", u"0.0.0.", u"0.0.2147483647", u"f.0.4294967296")},
         {1, gen::just(longText)},
         {1, gen::just(Text(u"1.") + longText + u".5")},
         {3, gen::map(gen::tuple(textsOver(u"0123456789abfF", 2), textsOver(u"0#x.", 1),
                                 textsOver(u"0123456789", 2)),
                      [](const std::tuple<Text, Text, Text>& t) {
                          return std::get<0>(t) + u"." + std::get<1>(t) + u"." + std::get<2>(t);
                      })},
         {3, textsOver(u"0123456789aAfFgGxX.#+- \u0663\u00B2", 8)}});
    return generator;
}

rc::Gen<std::string> propertyTexts() {
    static const auto number = gen::weightedOneOf<std::string>(
        {{3, gen::element<std::string>("0", "1", "2", "3")},
         {1, gen::element<std::string>("", "-1", "+3", " 4", "abc", "0x10", "12 ", "2147483648", "\xB2",
                                       "\xFF")}});
    static const auto block = gen::weightedOneOf<std::string>(
        {{12, gen::element<std::string>("8", "64", "10", "1", "2", "3", "16", "100", "123")},
         {1, gen::element<std::string>("0", "-1", "-8", "600", "512", "513", "1000", "x", "268435456",
                                       "2147483647")}});
    static const auto usual =
        gen::map(gen::tuple(number, gen::element<std::string>("0", "0", "0", "0", "1", "x"), number,
                            gen::element<std::string>("3", "0", "1", "2", "-1", "10", "y"), block,
                            gen::element<std::string>("", "", "#", "#7#8")),
                 [](const auto& t) {
                     return std::get<0>(t) + "#" + std::get<1>(t) + "#" + std::get<2>(t) + "#" +
                            std::get<3>(t) + "#" + std::get<4>(t) + std::get<5>(t);
                 });
    static const auto generator = gen::weightedOneOf<std::string>(
        {{6, usual},
         {1,
          gen::element<std::string>("1#0#0#3#8", "", "#", "####", "#####", "1#2#3#4", "1##0#3#64",
                                    "1#0#0#3#64", "5", "1;0;0;3;64", "1#0#0#3#64#####", " 1#0#0#3# 64 ")}});
    return generator;
}

std::vector<Byte> bytesOf(int seed, std::size_t size) {
    std::vector<Byte> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint64_t random = scrambled(static_cast<std::uint64_t>(seed), i);
        const Byte some[8] = {
            0, 1, 0, 1, 0xFF, 2, static_cast<Byte>(random >> 8), static_cast<Byte>(random >> 16)};
        bytes[i] = seed <= 1 ? static_cast<Byte>(seed) : some[random % (seed % 2 == 0 ? 4 : 8)];
    }
    return bytes;
}

model::KeyAddress KeyEntry::key(const Text& listType) const {
    model::KeyAddress result;
    result.hostText = u"shown " + model::decimal(hostWord);
    result.hostWord1 = hostWord;
    result.hostWord2 = -hostWord;
    result.station = station;
    result.regType = ownType ? type : listType;
    result.hostText2 = u"second";
    result.address = address;
    result.bitOffset = bitOffset;
    result.length = length;
    result.data[0] = static_cast<Byte>(hostWord);
    result.data[1023] = static_cast<Byte>(hostWord + 1);
    return result;
}

rc::Gen<KeyEntry> keyEntries() {
    static const auto generator = gen::build<KeyEntry>(
        gen::set(&KeyEntry::ownType, gen::element(false, false, true)), gen::set(&KeyEntry::type, regTypes()),
        gen::set(&KeyEntry::station, stations()), gen::set(&KeyEntry::address, addresses()),
        gen::set(&KeyEntry::length, counts()), gen::set(&KeyEntry::bitOffset, gen::element(0, -1, 3)),
        gen::set(&KeyEntry::hostWord, between(0, 200)));
    return generator;
}

rc::Gen<model::Variable> variables() {
    static const auto generator = gen::map(
        gen::tuple(between(0, 5), stations(), regTypes(), addresses(),
                   gen::weightedOneOf<int>({{30, counts()}, {1, gen::element(123, 128, 256, 507, 508, 600)}}),
                   dataSeeds()),
        [](const auto& t) {
            model::Variable var;
            var.opKind = std::get<0>(t);
            var.station = std::get<1>(t);
            var.regType = std::get<2>(t);
            var.address = std::get<3>(t);
            var.count = std::get<4>(t);
            const std::vector<Byte> bytes = bytesOf(std::get<5>(t), var.data.size());
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                var.data[i] = bytes[i];
            }
            return var;
        });
    return generator;
}

rc::Gen<model::RecipeVar> recipeVars() {
    using model::RecipeVar;
    static const auto generator = gen::build<RecipeVar>(
        gen::set(&RecipeVar::linkId, gen::element(1, 1, 1, 0, 2)), gen::set(&RecipeVar::station, stations()),
        gen::set(&RecipeVar::regType, regTypes()), gen::set(&RecipeVar::address, between(0, 12)),
        gen::set(&RecipeVar::count, counts()),
        gen::set(&RecipeVar::recipeIndex, between(0, Rig::recipeStarts)),
        gen::set(&RecipeVar::hostReserved, between(0, 9)));
    return generator;
}

}  // namespace differential
