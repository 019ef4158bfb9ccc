// Files that dx7 and dx7-device read: what cannot be read to its end, is too large or nested too deeply is
// refused, and a parameter file that is not as it was saved.
#include <cerrno>
#include <filesystem>

#include "rig.h"

namespace {

namespace fs = std::filesystem;

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

class InputFiles : public testing::Test {
protected:
    void expectRefused(const Words& command, const std::string& named) const {
        const Finished run = runToEnd(command);
        EXPECT_EQ(2, run.exitCode) << command[1] << ' ' << command[2] << run.errors.substr(0, 300);
        EXPECT_EQ("", run.output);
        EXPECT_NE(std::string::npos, run.errors.find(named))
            << command[1] << ' ' << run.errors.substr(0, 300);
    }
    // By all three readers.
    void expectRefusedByAll(const std::string& path, const std::string& named) const {
        expectRefused(rig.command({"read", "-c", path, "AI:0"}), named);
        expectRefused(rig.command({"params", "load", path, "--accept-altered"}), named);
        expectRefused({deviceProgram, "--pty", rig.file("other"), "--values", path}, named);
    }
    void expectNothingSent() {
        const std::string seen = rig.stopDevice();
        EXPECT_EQ(0, numberBehind(seen, "station 1: ")) << seen;
    }

    Rig rig{Carrier::PseudoTerminal};
    std::string file = rig.file("input.toml");
};

TEST_F(InputFiles, AFolderIsNotAnEmptyFile) {
    fs::create_directory(file);
    expectRefusedByAll(file, "it is a folder");
    expectNothingSent();
}

TEST_F(InputFiles, AFileOf3GigabytesIsNotRead) {
    writeFile(file, "");
    fs::resize_file(file, 3221225472);
    expectRefusedByAll(file, "it has more than 4194304 bytes, the most that is read; it has 3221225472");
    expectRefusedByAll("/dev/zero", "it has more than 4194304 bytes");
    expectNothingSent();
}

TEST_F(InputFiles, AnErrorInTheMiddleIsNotTheEndOfTheFile) {
    const std::string comment = repeated("# a comment that makes the file longer\n", 5000);
    const auto onFailingDisk = [this](int step, const Words& command) {
        Words all{"/usr/bin/env",
                  "LD_PRELOAD=" DX7_FAILING_DISK,
                  "DX7_DISK_FOLDER=" + file,
                  "DX7_DISK_STEP=" + std::to_string(step),
                  "DX7_DISK_ERROR=" + std::to_string(EIO),
                  "ASAN_OPTIONS=verify_asan_link_order=0"};
        all.insert(all.end(), command.begin(), command.end());
        return all;
    };
    writeFile(file, "[line]\ntimeout = 400\n" + comment);
    for (int step = 1; step <= 5; ++step) {
        expectRefused(onFailingDisk(step, rig.command({"read", "-c", file, "AI:0"})), "Input/output error");
    }
    EXPECT_EQ(0, runToEnd(onFailingDisk(6, rig.command({"read", "-c", file, "AI:0"}))).exitCode);
    writeFile(file, "[values]\n\"AI:0\" = 1\n" + comment);
    for (int step = 1; step <= 5; ++step) {
        expectRefused(onFailingDisk(step, {deviceProgram, "--pty", rig.file("other"), "--values", file}),
                      "Input/output error");
    }
}

TEST_F(InputFiles, APipeIsReadOnce) {
    writeFile(file, "[line]\nserial = \"" + rig.file("line") +
                        "\"\n[[tag]]\nname = \"ramp\"\ntype = \"F\"\naddress = \"3.0.25\"\n");
    const Words read{"/bin/bash", "-c",       "exec \"$1\" read --driver \"$2\" -c <(cat \"$3\") ramp",
                     "bash",      dx7Program, driverLibrary,
                     file};
    const Finished run = runToEnd(read);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("ramp = 325\n", run.output);
}

TEST_F(InputFiles, AnEmptyValuesFileIsTaken) {
    writeFile(file, "");
    DeviceProcess device({"--pty", rig.file("other")}, {"--values", file});
    EXPECT_EQ(0U, device.ready().rfind("ready on ", 0));
}

TEST_F(InputFiles, DeepNestingIsRefused) {
    const int deep = 40000;
    const std::string key = repeated("a.", deep) + "a";
    for (const std::string& text :
         {key + " = 1\n", "[" + key + "]\nb = 1\n", "[[" + key + "]]\nb = 1\n", "x = { " + key + " = 1 }\n",
          "x = " + repeated("[", deep) + repeated("]", deep) + "\n", "x = " + repeated("[", deep),
          repeated("a = { ", deep), "x = " + repeated("{ a = [ ", deep), "\"#\" = 1\n" + key + " = 1\n",
          "'\"' = \"'\"\n" + key + " = 1\n", "x = \"\"\"\"\"\"\"\"\n" + key + " = 1 # \"\"\"\n",
          "x = '''\n''''\n" + key + " = 1\n", "x = \"\\\\\"\n" + key + " = 1\n",
          "x = \"\"\"\\\"\"\"\" \n" + key + " = 1\n", "\xEF\xBB\xBF" + key + " = 1\n",
          "# \"\"\"\r\n" + key + " = 1\n", repeated("a . \t", deep) + "a = 1\n",
          repeated("\"a\".'b'.", deep) + "a = 1\n"}) {
        writeFile(file, text);
        SCOPED_TRACE(text.substr(0, 30));
        expectRefusedByAll(file, "levels deep");
    }
    std::string many;
    for (int i = 0; i < 150000; ++i) {
        many += "a" + std::to_string(i) + ".b = 1\n";
    }
    writeFile(file, many);
    expectRefusedByAll(file, "more than 1000 keys with dots");
    expectNothingSent();
}

class AlteredParameters : public InputFiles {
protected:
    AlteredParameters() {
        EXPECT_EQ(0, rig.dx7({"params", "save", "--force", file, "--groups", "3"}).exitCode);
        saved = readFile(file);
        rig.stopDevice();
        rig.startDevice();
    }
    void expectRefusedAsAltered(const std::string& text) const {
        writeFile(file, text);
        expectRefused(rig.command({"params", "load", file}), "is not as it was saved: ");
        expectRefused(rig.command({"params", "diff", file}), "it was cut or edited");
    }

    std::string saved;
};

TEST_F(AlteredParameters, AreRefusedBeforeAnythingIsSent) {
    const std::size_t lastLine = saved.rfind('\n', saved.size() - 2) + 1;
    EXPECT_EQ(0U, saved.substr(lastLine).find("# end of dx7 parameters, format 2: 56 values, sha256 "));
    const std::size_t value = saved.find("\"3.0.25\" = 325");
    ASSERT_NE(std::string::npos, value);
    for (const std::size_t cut : {std::size_t(0), std::size_t(1), value + 11, value + 12, value + 13,
                                  lastLine - 1, lastLine, lastLine + 1, saved.size() - 2, saved.size() - 1}) {
        SCOPED_TRACE(cut);
        expectRefusedAsAltered(saved.substr(0, cut));
    }
    std::string edited = saved;
    edited[value + 11] = '9';
    expectRefusedAsAltered(edited);
    std::string crlf;
    for (const char character : saved) {
        crlf += character == '\n' ? "\r\n" : std::string(1, character);
    }
    expectRefusedAsAltered(crlf);
    expectRefusedAsAltered(saved + "\n");
    expectRefusedAsAltered(saved + saved.substr(lastLine));
    expectRefusedAsAltered("station = 1\n[F]\n\"3.0.25\" = 9\n");
    expectNothingSent();
}

TEST_F(AlteredParameters, AreTakenWhenThatIsWanted) {
    writeFile(file, "station = 1\n[F]\n\"3.0.25\" = 9\n");
    EXPECT_NE(std::string::npos,
              rig.dx7({"params", "diff", file, "--accept-altered"}).output.find("1 of 1 parameter differ"));
    const Finished run = rig.dx7({"params", "load", file, "--accept-altered"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(9, rig.client()->holding(0xF325));
    for (const std::string& text :
         {std::string(), saved.substr(0, 20), std::string("station = 1\n[F]\n\"3.0.25\" = \n"),
          std::string("[F]\n\"3.0.25\" = 65536\n")}) {
        writeFile(file, text);
        expectRefused(rig.command({"params", "load", file, "--accept-altered"}), file);
    }
}

}  // namespace
