/// \file
/// What a shell may offer in place of a word that is begun.
#ifndef DX7_COMMON_VALUE_OFFER_H
#define DX7_COMMON_VALUE_OFFER_H

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace dx7common {

/// A word that may be meant. One that ends with ":", "=" or "/" is gone on with.
struct Candidate {
    std::string text;
    /// A few words on it; may be empty.
    std::string about;
};

struct Offer {
    std::vector<Candidate> words;
    /// Names of files as well.
    bool files = false;
};

/// What is on the command line so far.
struct Typed {
    /// The value that is begun, as the program would get it.
    std::string word;
    /// The values of options that were given, by the last of the option's names, as "--config".
    std::map<std::string, std::string> values;

    /// Empty when the option was not given.
    std::string value(const std::string& option) const {
        const auto found = values.find(option);
        return found == values.end() ? std::string() : found->second;
    }
};

/// What may be meant by a value that is begun; others than those that begin so are left out afterwards. It
/// must not wait, nor throw.
using ValueOffer = std::function<Offer(const Typed& typed)>;

}  // namespace dx7common

#endif
