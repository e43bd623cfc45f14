#include "TempHome.h"
#include "app/LanguageManager.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "app/StringsParser.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QStringEncoder>
#include <gtest/gtest.h>

namespace S = SettingsKeys;

namespace {

void writeTable(const QString& dir, const QString& folder, const QByteArray& body) {
    QDir().mkpath(dir + "/" + folder + ".lproj");
    QFile f(dir + "/" + folder + ".lproj/Localizable.strings");
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(body);
}

struct Lookup : ::testing::Test {
    TempHome home;
    SettingsStore store{home.path() + "/settings.conf"};
    QString resources = home.path() + "/res";
    QStringList system = {"en-US"};
    LanguageManager language{store, resources, [this] {
                                 return system;
                             }};

    void SetUp() override {
        writeTable(resources, "en", "\"Hello\" = \"Hello\";\n\"OnlyEnglish\" = \"only en\";\n");
        writeTable(resources, "zh-Hans", "\"Hello\" = \"你好\";\n");
        writeTable(resources, "zh-Hant", "\"Hello\" = \"您好\";\n");
    }
};

} // namespace

TEST_F(Lookup, FollowsTheSystemUntilTheUserChooses) {
    EXPECT_EQ(language.localizedStringForKey("Hello"), "Hello");
    system = {"zh-Hant-TW", "en-US"};
    EXPECT_EQ(language.localizedStringForKey("Hello"), "您好");
    EXPECT_TRUE(language.isEnglishLanguage()); // the time formats stay English
    system = {"zh_CN"};
    EXPECT_EQ(language.localizedStringForKey("Hello"), "你好");

    // A stored language counts only once the user picked one in the app.
    store.setInteger(S::AppLanguage, 2);
    EXPECT_EQ(language.localizedStringForKey("Hello"), "你好");
    store.setBool(S::IsLanguageChanged, true);
    EXPECT_EQ(language.localizedStringForKey("Hello"), "您好");
    EXPECT_FALSE(language.isEnglishLanguage());
    store.setInteger(S::AppLanguage, 5);
    EXPECT_EQ(language.localizedStringForKey("Hello"), "Hello");
    store.setInteger(S::AppLanguage, -4);
    EXPECT_EQ(language.localizedStringForKey("Hello"), "Hello");
}

TEST_F(Lookup, MissingKeysAndMissingTables) {
    store.setBool(S::IsLanguageChanged, true);
    store.setInteger(S::AppLanguage, 1);
    EXPECT_EQ(language.localizedStringForKey("OnlyEnglish"), "");
    EXPECT_EQ(language.localizedStringForKey("OnlyEnglish", "fallback"), "fallback");

    // The chosen language is not installed: the base table answers, with ""
    // rather than the caller's default.
    QDir(resources + "/zh-Hans.lproj").removeRecursively();
    LanguageManager fresh(store, resources, [] { return QStringList{}; });
    EXPECT_EQ(fresh.localizedStringForKey("OnlyEnglish"), "only en");
    EXPECT_EQ(fresh.localizedStringForKey("Nowhere", "fallback"), "");
}

TEST_F(Lookup, ChangingLanguageStoresNotifiesAndSwitches) {
    int notified = 0;
    QObject::connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification,
                     [&] { ++notified; });
    language.applyLanguage(2);
    EXPECT_EQ(notified, 1);
    EXPECT_EQ(language.localizedStringForKey("Hello"), "您好");
    EXPECT_EQ(store.stringListForKey(S::AppleLanguages), QStringList{"zh_HK"});
    EXPECT_EQ(language.getSystemLanguage(), 2);
    // Written through to disk at once.
    SettingsStore reread(store.fileName());
    EXPECT_EQ(reread.integerForKey(S::AppLanguage), 2);
    EXPECT_TRUE(reread.boolForKey(S::IsLanguageChanged));
}

TEST(LanguageTags, LinuxLocalesMapToScripts) {
    const std::pair<const char*, int> cases[] = {
        {"zh-Hans-CN", 1}, {"zh_CN", 1}, {"zh-SG", 1}, {"zh", 1}, {"zh-Hant", 2},
        {"zh_TW", 2},      {"zh-HK", 2}, {"zh_MO", 2}, {"en", 0}, {"de-DE", 0},
    };
    for (const auto& [tag, expected] : cases)
        EXPECT_EQ(languageForTag(tag), expected) << tag;
}

TEST(StringsParser, SyntaxEncodingsAndRecovery) {
    const QString text = "/* header\n comment */\n"
                         "\"a\" = \"x \\\"quoted\\\" \\\\ back\\nline\";  // trailing\n"
                         "\"broken\" = \"no semicolon\"\n"
                         "\"b\" = unquoted;\n"
                         "\"c\"=\"中文\";\n"
                         "\"d\" = \"\\U00e9t\\u00e9\";\n";
    const QByteArray utf16le =
        QStringEncoder(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom)(text);
    const QByteArray utf16be = QStringEncoder(QStringConverter::Utf16BE)(text);
    for (const QByteArray& bytes :
         {text.toUtf8(), QByteArray("\xEF\xBB\xBF") + text.toUtf8(), utf16le, utf16be}) {
        const StringsTable t = parseStrings(bytes);
        EXPECT_EQ(t.entries.value("a"), "x \"quoted\" \\ back\nline");
        EXPECT_EQ(t.entries.value("c"), "中文");
        EXPECT_EQ(t.entries.value("d"), "été");
        EXPECT_FALSE(t.entries.contains("b"));
        EXPECT_EQ(t.problems.size(), 2) << t.problems.join("; ").toStdString();
    }
    // Garbage never crashes and never loops.
    for (const char* junk : {"\"", "\"a\" = \"", "/* open", "\"a\" = \"\\", "\"a\" \"b\";;;", "\"\\U12\""})
        (void)parseStrings(junk);
}

TEST(ShippedTables, CompleteConsistentAndCoverTheCode) {
    QMap<QString, StringsTable> tables;
    for (const char* folder : {"en", "zh-Hans", "zh-Hant"}) {
        QFile f(QString(FRAMEDECK_SOURCE_DIR) + "/resources/" + folder + ".lproj/Localizable.strings");
        ASSERT_TRUE(f.open(QIODevice::ReadOnly)) << folder;
        tables[folder] = parseStrings(f.readAll());
        EXPECT_TRUE(tables[folder].problems.isEmpty())
            << folder << ": " << tables[folder].problems.join("; ").toStdString();
    }
    QStringList enKeys = tables["en"].keysInOrder;
    enKeys.sort();
    const QRegularExpression spec("%(@|[-+ #0]*\\d*(\\.\\d+)?(l|ll|h)?[dufsx])");
    auto specifiers = [&](const QString& s) {
        QStringList out;
        for (auto it = spec.globalMatch(s); it.hasNext();)
            out << it.next().captured();
        return out;
    };
    for (const QString folder : {"zh-Hans", "zh-Hant"}) {
        QStringList keys = tables[folder].keysInOrder;
        keys.sort();
        EXPECT_EQ(keys, enKeys) << folder.toStdString() << " has a different key set";
        for (const QString& key : enKeys)
            EXPECT_EQ(specifiers(tables[folder].entries.value(key)),
                      specifiers(tables["en"].entries.value(key)))
                << folder.toStdString() << " " << key.toStdString();
    }

    // Every literal key the code looks up exists.
    const QRegularExpression use(R"re(\b(?:L|LF|localizedStringForKey)\(\s*"([^"]+)")re");
    const QRegularExpression listed(
        R"re("((?:Main|Menu|Meun|Alert|ID|FileList|Clip|TM|Pre|Draw|Pref)_[A-Za-z0-9_&]*[A-Za-z0-9&])")re"); // a trailing "_" marks a prefix
    QStringList missing;
    QDirIterator it(QString(FRAMEDECK_SOURCE_DIR) + "/src", {"*.cpp", "*.h"}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        const QString code = QString::fromUtf8(f.readAll());
        for (const auto& re : {use, listed})
            for (auto m = re.globalMatch(code); m.hasNext();) {
                const QString key = m.next().captured(1);
                if (!tables["en"].entries.contains(key) && !missing.contains(key))
                    missing << key + " (" + it.fileName() + ")";
            }
    }
    EXPECT_TRUE(missing.isEmpty()) << missing.join(", ").toStdString();
}
