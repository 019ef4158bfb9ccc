#include "common/completion.h"

#include <gtest/gtest.h>

using dx7common::CommandLine;
using dx7common::complete;
using dx7common::completionText;
using dx7common::Offer;
using dx7common::Typed;

namespace {

using Texts = std::vector<std::string>;

// A program with two commands.
class Completion : public testing::Test {
protected:
    Completion() {
        first.add("-c,--config", &file, "Its file").named("FILE");
        first.add("--parity", &word, "The parity").suggest({"none", "even", "odd"});
        first.add("--fixed", &word, "").oneOf({"a", "b"}).suggest({"c"});
        first.add("--quick", &flag, "Quickly");
        first.add("--many", &rest, "").takeOneEach();
        first.add("--secret", &word, "").hide();
        first.addAlternatives("Line", "").add("--tcp", &word, "").named("PORT");
        first.add("items", &rest, "").suggest([](const Typed& typed) {
            return Offer{{{"one of " + typed.value("--config"), "said of it"}, {"x" + typed.word, {}}},
                         false};
        });
        second.add("place", &word, "").suggest({"here", "there"});
        second.add("file", &word, "").named("FILE");
    }
    Texts offered(const Texts& words) const {
        Texts texts;
        for (const dx7common::Candidate& candidate : complete(program, words).words) {
            texts.push_back(candidate.text);
        }
        return texts;
    }

    std::string file;
    std::string word;
    bool flag = false;
    std::vector<std::string> rest;
    CommandLine program{"program", "About it."};
    CommandLine& first = program.addCommand("first", "The first");
    CommandLine& second = program.addCommand("second", "The second");
};

TEST_F(Completion, OffersCommandsAndTheirOptions) {
    EXPECT_EQ((Texts{"first", "second"}), offered({""}));
    EXPECT_EQ((Texts{"first", "second"}), offered({}));
    EXPECT_EQ((Texts{"second"}), offered({"se"}));
    EXPECT_EQ((Texts{"-h", "--help"}), offered({"-"}));
    EXPECT_EQ((Texts{"--tcp", "-c", "--config", "--parity", "--fixed", "--quick", "--many", "-h", "--help"}),
              offered({"first", "-"}));
    EXPECT_EQ(Texts(), offered({"none of them", ""}));
}

TEST_F(Completion, DoesNotOfferAgainWhatIsGiven) {
    EXPECT_EQ((Texts{"--tcp", "--parity", "--fixed", "--many", "--help"}),
              offered({"first", "--quick", "-c", "x", "--many", "y", "--"}));
    EXPECT_EQ((Texts{"--parity"}), offered({"first", "--pa"}));
    EXPECT_EQ(Texts(), offered({"first", "--parity=odd", "--pa"}));
}

TEST_F(Completion, OffersTheValuesOfOptions) {
    EXPECT_EQ((Texts{"none", "even", "odd"}), offered({"first", "--parity", ""}));
    EXPECT_EQ((Texts{"odd"}), offered({"first", "--parity", "o"}));
    EXPECT_EQ((Texts{"--parity=even"}), offered({"first", "--parity=e"}));
    EXPECT_EQ((Texts{"a", "b"}), offered({"first", "--fixed", ""}));
    EXPECT_EQ(Texts(), offered({"first", "--tcp", ""}));
    EXPECT_EQ(Texts(), offered({"first", "--quick="}));
    EXPECT_EQ(Texts(), offered({"first", "--unknown="}));
    EXPECT_TRUE(complete(program, {"first", "-c", ""}).files);
    EXPECT_TRUE(complete(program, {"first", "--config=x"}).files);
    EXPECT_FALSE(complete(program, {"first", "--tcp", ""}).files);
}

TEST_F(Completion, OffersArgumentsByWhatIsGiven) {
    EXPECT_EQ((Texts{"one of f", "x"}), offered({"first", "-c", "f", ""}));
    EXPECT_EQ((Texts{"one of g"}), offered({"first", "-c", "f", "--config=g", "a", "--quick", "b", "one"}));
    // Behind "--" there are no options.
    EXPECT_EQ((Texts{"one of "}), offered({"first", "--", "o"}));
    EXPECT_EQ(Texts(), offered({"first", "--", "--p"}));
    EXPECT_EQ((Texts{"here", "there"}), offered({"second", ""}));
    EXPECT_FALSE(complete(program, {"second", ""}).files);
    EXPECT_TRUE(complete(program, {"second", "here", ""}).files);
    EXPECT_FALSE(complete(program, {"second", "here", "file", ""}).files);
}

TEST_F(Completion, AnswersInLines) {
    EXPECT_EQ("words\none\tsaid of it\ntwo\n",
              completionText({{{"one", "said of it"}, {"with\nline", "x"}, {"two", "a\tb"}}, false}));
    EXPECT_EQ("files\n", completionText({{}, true}));
    const std::vector<const char*> asked{"program", "__complete", "sec"};
    EXPECT_EQ("words\nsecond\tThe second\n", dx7common::answerToShell(program, 3, asked.data()));
    const std::vector<const char*> usual{"program", "second", "__complete"};
    EXPECT_EQ(std::nullopt, dx7common::answerToShell(program, 3, usual.data()));
    EXPECT_EQ(std::nullopt, dx7common::answerToShell(program, 1, usual.data()));
}

}  // namespace
