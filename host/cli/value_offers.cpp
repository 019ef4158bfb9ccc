#include "host/cli/value_offers.h"

#include <QDir>
#include <QFileInfo>

#include "host/cli/options.h"
#include "host/driver/driver_library.h"
#include "host/error.h"
#include "host/files/line_file.h"
#include "host/line/port_list.h"

namespace dx7::cli {

namespace {

using dx7common::Offer;
using dx7common::Typed;

std::string local(const QString& words) {
    return words.toLocal8Bit().toStdString();
}

// A shell hands on what was typed, with the home folder not yet in place of "~".
QString typedPath(const Typed& typed, const char* option) {
    const QString path = text(typed.value(option));
    return path.startsWith(QLatin1String("~/")) ? QDir::homePath() + path.mid(1) : path;
}

// Calls `use` with the file of -c when there is one.
template <typename Use>
void withLineFile(const Typed& typed, Use use) {
    const QString path = typedPath(typed, "--config");
    if (!QFileInfo(path).isFile()) {
        return;
    }
    try {
        use(LineFile(path));
    } catch (const Error&) {
        // The command itself will say what is wrong.
    }
}

void offerTypes(Offer& offer, const Typed& typed) {
    const QString path = typedPath(typed, "--driver");
    if (!path.isEmpty() && !QFileInfo(path).isFile()) {
        return;
    }
    try {
        const DriverLibrary library(path);
        const ItemNotation notation(library.functions());
        for (const RegisterType& type : notation.types()) {
            offer.words.push_back({local(type.name) + ':', local(type.meaning())});
        }
    } catch (const Error&) {
        // There is no driver.
    }
}

void offerTags(Offer& offer, const Typed& typed, bool written) {
    withLineFile(typed, [&](const LineFile& file) {
        const QString line = text(typed.value("--line"));
        const QStringList lines = file.lines();
        for (const LineFile::NamedTag& tag : file.namedTags()) {
            const QString own = lines.value(tag.line);
            if (line.isEmpty() || own == line) {
                offer.words.push_back(
                    {local(tag.name) + (written ? "=" : ""),
                     local(own.isEmpty() ? tag.item : tag.item + QStringLiteral(", ") + own)});
            }
        }
    });
}

void offerFormats(Offer& offer, const std::string& kept) {
    for (const QString& format : formatWords()) {
        offer.words.push_back({kept + local(format), {}});
    }
}

}  // namespace

dx7common::ValueOffer itemOffer(ItemWords words) {
    return [words](const Typed& typed) {
        Offer offer;
        const std::string& begun = typed.word;
        const std::size_t colon = begun.find(':');
        const std::size_t slash = begun.rfind('/');
        if (colon == std::string::npos) {
            offerTypes(offer, typed);
        } else if (words != ItemWords::Plain && slash != std::string::npos && slash > colon) {
            offerFormats(offer, begun.substr(0, slash + 1));
        }
        if (words != ItemWords::Plain) {
            offerTags(offer, typed, words == ItemWords::Written);
        }
        return offer;
    };
}

dx7common::ValueOffer lineOffer() {
    return [](const Typed& typed) {
        Offer offer;
        withLineFile(typed, [&](const LineFile& file) {
            for (const QString& name : file.lines()) {
                if (!name.isEmpty()) {
                    offer.words.push_back({local(name), {}});
                }
            }
        });
        return offer;
    };
}

dx7common::ValueOffer portOffer() {
    return [](const Typed&) {
        Offer offer;
        for (const PortInfo& port : serialPorts()) {
            for (const QString& path : {port.path, port.byId}) {
                if (!path.isEmpty()) {
                    offer.words.push_back({local(path), local(port.adapter)});
                }
            }
        }
        offer.files = true;
        return offer;
    };
}

}  // namespace dx7::cli
