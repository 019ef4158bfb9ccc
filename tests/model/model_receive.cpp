// Judging and decoding replies.
#include "model.h"

namespace model {

int Model::check_rcv_data(const std::vector<Byte>& reply) const {
    const Frame& head = frameList[0];
    const long long len = static_cast<long long>(reply.size());
    if (len == 0) {
        return head.expectLen == 0 ? 2 : 0;
    }
    if (len != head.expectLen) {
        return 0;
    }
    const int crc = crcOf(reply, static_cast<std::size_t>((len - 2) & 0xFFFF));
    if (replyByte(reply, len - 2) != (crc & 0xFF)) {
        return 0;
    }
    if (replyByte(reply, len - 1) != (crc >> 8)) {
        return 0;
    }
    return head.dataCount != 0 ? 1 : 2;
}

Text Model::getErrorInfo(const std::vector<Byte>& reply) const {
    const Frame& head = frameList[0];
    return decimal(head.station) + u"#" + head.regType + decimal(head.address) + u"(" + decimal(head.count) +
           u")(" + decimal(static_cast<long long>(reply.size())) + u")";
}

int Model::intf_dealRcvFrame(const std::vector<Byte>& reply, Text& info) {
    info = u"";
    if (frameList.empty()) {
        return 0;
    }
    info = getErrorInfo(reply);
    const int r = check_rcv_data(reply);
    const Frame head = frameList[0];
    if (r == 1) {
        commFailed = 0;
        // Bounds outside the recipe variables copy nothing, like an empty block.
        int first = 0;
        int last = 0;
        const int blocks = static_cast<int>(recipeBlockStart.size());
        if (opKind == 6 && recipeIndex >= 0 && recipeIndex < blocks) {
            const int variables = static_cast<int>(recipeVars.size());
            first = recipeBlockStart[static_cast<std::size_t>(recipeIndex)];
            last = recipeIndex == blocks - 1 ? variables
                                             : recipeBlockStart[static_cast<std::size_t>(recipeIndex) + 1];
            if (first < 0 || first >= variables || last > variables) {
                first = 0;
                last = 0;
            }
        }
        if (isBitType(head.regType)) {
            decodeBits(reply, head);
        } else if (isWordType(head.regType)) {
            decodeWords(reply, head);
        } else if (head.regType == u"FAS") {
            decodeStatus(reply, head);
        }
        if (opKind == 6) {
            copyRecipe(reply, head, first, last);
        }
        endFrame();
        return 1;
    }
    if (r == 2) {
        if (opKind == 2) {
            _write_FailOrSuc(head.station, head.regType, head.address, head.count, 1);
        }
        commFailed = 0;
        endFrame();
        return 1;
    }
    badReplyCount = wrapAdd(badReplyCount, 1);
    if (badReplyCount < retryCount) {
        return 8;
    }
    failFrame();
    return 2;
}

void Model::endFrame() {
    frameList.erase(frameList.begin());
    if (frameList.empty()) {
        dealListWhenFinish();
    }
    badReplyCount = 0;
}

void Model::failFrame() {
    const Frame head = frameList[0];
    commFailed = 1;
    if (opKind == 2) {
        _write_FailOrSuc(head.station, head.regType, head.address, head.count, 0);
    }
    if (isBitType(head.regType)) {
        for (int i = 0; i < head.dataCount; ++i) {
            area(head.station, head.regType, wrapAdd(head.address, wrapMul(8, i))).commError = 1;
        }
    } else if (isWordType(head.regType)) {
        for (int i = 0; i < head.dataCount / 2; ++i) {
            area(head.station, head.regType, wrapAdd(head.address, i)).commError = 1;
        }
    }
    frameList.clear();
    badReplyCount = 0;
    dealListWhenFinish();
}

void Model::decodeBits(const std::vector<Byte>& reply, const Frame& head) {
    for (int i = 0; i < head.dataCount; ++i) {
        const int address = wrapAdd(head.address, i);
        area(head.station, head.regType, address).commError = 0;
        const int source = replyByte(reply, static_cast<long long>(head.dataOffset) + i / 8);
        const Byte newBit = static_cast<Byte>((source >> (i % 8)) & 1);
        // The whole byte at position i decides, not the bit.
        if (area(head.station, head.regType, address).value[0] !=
            replyByte(reply, static_cast<long long>(head.dataOffset) + i)) {
            area(head.station, head.regType, address).value[0] = newBit;
            area(head.station, head.regType, address).writePending = 0;
            report(linkId, head.station, head.regType, address);
        }
        area(head.station, head.regType, address).value[0] = newBit;
    }
}

void Model::decodeWords(const std::vector<Byte>& reply, const Frame& head) {
    const int words = head.dataCount / 2;
    for (int i = 0; i < words; ++i) {
        const int address = wrapAdd(head.address, i);
        const Byte hi = replyByte(reply, static_cast<long long>(head.dataOffset) + 2LL * i);
        const Byte lo = replyByte(reply, static_cast<long long>(head.dataOffset) + 2LL * i + 1);
        DataArea& item = area(head.station, head.regType, address);
        item.commError = 0;
        if (item.value[0] != lo || item.value[1] != hi) {
            if (item.writePending != 0 && item.pendingBits == 0) {
                item.writePending = 0;
            }
            const int oldWord = item.value[0] + 256 * item.value[1];
            const int newWord = 256 * hi + lo;
            item.value[0] = lo;
            item.value[1] = hi;
            _wordDataChange(oldWord, newWord, head.station, head.regType, address, 0);
        }
        area(head.station, head.regType, address).value[0] = lo;
        area(head.station, head.regType, address).value[1] = hi;
    }
}

void Model::decodeStatus(const std::vector<Byte>& reply, const Frame& head) {
    const Byte status = replyByte(reply, head.dataOffset);
    DataArea& item = area(head.station, u"FAS", head.address);
    if (item.value[0] != status) {
        item.value[0] = status;
        if (item.writePending != 0 && item.pendingBits == 0) {
            item.writePending = 0;
        }
        report(linkId, head.station, head.regType, head.address);
    }
    area(head.station, u"FAS", head.address).value[0] = status;
}

void Model::copyRecipe(const std::vector<Byte>& reply, const Frame& head, int first, int last) {
    if (first >= last) {
        return;
    }
    const int base = recipeVars[static_cast<std::size_t>(first)].address;
    for (int k = first; k < last; ++k) {
        const RecipeVar v = recipeVars[static_cast<std::size_t>(k)];
        const int p = wrapAdd(head.dataOffset, wrapMul(2, wrapSub(v.address, base)));
        Byte* const word = recipeMemory + 2LL * v.recipeIndex;
        if (isWordType(head.regType)) {
            word[0] = replyByte(reply, wrapAdd(p, 1));
            word[1] = replyByte(reply, p);
            report(0, -1, u"RWI", v.recipeIndex);
        } else {
            for (int i = 0; i < 4; ++i) {
                word[i] = replyByte(reply, wrapAdd(p, 3 - i));
            }
            report(0, -1, u"RWI", v.recipeIndex);
            report(0, -1, u"RWI", wrapAdd(v.recipeIndex, 1));
        }
    }
}

}  // namespace model
