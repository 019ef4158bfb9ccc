// Frames out, replies in, recipe request flags.
#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <vector>

#include "generators.h"
#include "operations.h"
#include "simulated_reply.h"
#include "state_difference.h"
#include "texts.h"

namespace differential {

namespace gen = rc::gen;

namespace {

struct GetSendFrame {
    void perform(Rig& rig) const {
        model::Frame modelFrame;
        modelFrame.sendBuf.fill(0xC3);
        modelFrame.sendLen = -5;
        modelFrame.frameReserved = 7;
        modelFrame.regType = u"before";
        FRAME_PRO libraryFrame;
        std::fill(libraryFrame.sendBuf, libraryFrame.sendBuf + sizeof libraryFrame.sendBuf, 0xC3);
        libraryFrame.sendLen = -5;
        libraryFrame.frameReserved = 7;
        libraryFrame.regType = QString::fromLatin1("before");
        rig.same("result", rig.model.intf_getSendFrame(&modelFrame), intf_getSendFrame(&libraryFrame));
        rig.agree("frame", frameDifference(modelFrame, libraryFrame));
    }
    void print(std::ostream& out) const { out << "getSendFrame"; }
};

struct Reply {
    ReplyKind kind = ReplyKind::Good;
    int deviceState = 0;
    int place = 0;
    void perform(Rig& rig) const {
        if (rig.headIsTooBig()) {
            rig.initProperty("1#0#0#3#8", 0);
            return;
        }
        const std::vector<model::Byte> reply = simulatedReply(rig.model.frameList, kind, deviceState, place);
        QByteArray libraryReply(reinterpret_cast<const char*>(reply.data()), static_cast<int>(reply.size()));
        const QByteArray before(libraryReply.constData(), libraryReply.size());
        model::Text modelInfo = u"before";
        QString libraryInfo = QString::fromLatin1("before");
        const int modelResult = rig.model.intf_dealRcvFrame(reply, modelInfo);
        rig.same("result", modelResult, intf_dealRcvFrame(libraryReply, libraryInfo));
        rig.same("info", modelInfo, libraryInfo);
        rig.same("reply left alone", 1, before == libraryReply ? 1 : 0);
    }
    void print(std::ostream& out) const {
        out << "reply " << nameOf(kind) << ", device state " << deviceState << ", place " << place;
    }
};

// The host's loop, while the line is well.
struct Transactions {
    int number = 0;
    int deviceState = 0;
    void perform(Rig& rig) const {
        for (int i = 0; i < number; ++i) {
            GetSendFrame().perform(rig);
            Reply reply;
            reply.deviceState = deviceState + i / 3;
            reply.perform(rig);
        }
    }
    void print(std::ostream& out) const {
        out << number << " times getSendFrame and its good reply, device state " << deviceState;
    }
};

struct RecipeRequest {
    int write = 0;
    int read = 0;
    void perform(Rig& rig) const {
        rig.setHostFlag(60115, write);
        rig.setHostFlag(60116, read);
    }
    void print(std::ostream& out) const { out << "recipe requests: write " << write << ", read " << read; }
};

}  // namespace

rc::Gen<OperationPtr> lineOperations() {
    const auto kinds = gen::weightedElement<ReplyKind>({{30, ReplyKind::Good},
                                                        {6, ReplyKind::RandomData},
                                                        {1, ReplyKind::Truncated},
                                                        {1, ReplyKind::Extended},
                                                        {2, ReplyKind::Corrupted},
                                                        {2, ReplyKind::Exception},
                                                        {3, ReplyKind::Empty},
                                                        {1, ReplyKind::RandomRightCrc},
                                                        {1, ReplyKind::RandomBytes},
                                                        {1, ReplyKind::TwoBytes},
                                                        {1, ReplyKind::Echo}});
    const auto replies =
        gen::build<Reply>(gen::set(&Reply::kind, kinds), gen::set(&Reply::deviceState, gen::inRange(0, 4)),
                          gen::set(&Reply::place, gen::inRange(0, 300)));
    const auto loops = gen::build<Transactions>(gen::set(&Transactions::number, gen::inRange(1, 9)),
                                                gen::set(&Transactions::deviceState, gen::inRange(0, 4)));
    const auto requests =
        gen::build<RecipeRequest>(gen::set(&RecipeRequest::write, gen::element(0, 0, 0, 1, 2)),
                                  gen::set(&RecipeRequest::read, gen::element(0, 0, 0, 1, 255)));
    return gen::weightedOneOf<OperationPtr>({{20, operationOf<GetSendFrame>(gen::just(GetSendFrame()))},
                                             {22, operationOf<Reply>(replies)},
                                             {3, operationOf<Transactions>(loops)},
                                             {2, operationOf<RecipeRequest>(requests)}});
}

}  // namespace differential
