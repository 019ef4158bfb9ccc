/// \file
/// What a shell offers for the values of options and arguments: tags and lines of the file of -c, register
/// types, formats and ports. Nothing throws; what cannot be read is not offered. A file that is not a regular
/// one is not read, since reading it might wait.
#ifndef DX7_CLI_VALUE_OFFERS_H
#define DX7_CLI_VALUE_OFFERS_H

#include "common/value_offer.h"

namespace dx7::cli {

enum class ItemWords {
    /// Items with formats, and tags.
    Read,
    /// The same with "=" after them.
    Written,
    /// Items without a format.
    Plain
};

dx7common::ValueOffer itemOffer(ItemWords words);
/// The lines of the file.
dx7common::ValueOffer lineOffer();
/// The serial ports of this computer, and files: a pseudo-terminal may have any name.
dx7common::ValueOffer portOffer();

}  // namespace dx7::cli

#endif
