/*
 * oemtextmanager_test.cpp: the process-wide table of replacement texts of a
 * rebranded build, and the build's answer to whether it is one.
 */
#include <MVShared/OEMTextManager.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

class OEMTextManagerTest : public ::testing::Test
{
protected:
    void SetUp() override { *OEMTextManager::instance() = OEMTextManager(); }
    void TearDown() override { *OEMTextManager::instance() = OEMTextManager(); }

    static OEMTextManager branded()
    {
        QMap<QString, QString> texts;
        texts.insert(QStringLiteral("ProductName"), QStringLiteral("Plant Vision"));
        texts.insert(QStringLiteral("Vendor"), QStringLiteral("Acme Controls"));
        return OEMTextManager(texts);
    }
};

} // namespace

TEST_F(OEMTextManagerTest, InstanceIsOneObjectForEveryCallerAndThread)
{
    OEMTextManager* fromMain = OEMTextManager::instance();
    OEMTextManager* fromThread = nullptr;
    std::thread other([&fromThread] { fromThread = OEMTextManager::instance(); });
    other.join();
    EXPECT_EQ(fromMain, OEMTextManager::instance());
    EXPECT_EQ(fromMain, fromThread);
}

TEST_F(OEMTextManagerTest, EmptyTableIsNotLoaded)
{
    EXPECT_FALSE(OEMTextManager::instance()->isLoaded());
    EXPECT_FALSE(OEMTextManager().isLoaded());
}

TEST_F(OEMTextManagerTest, UnknownKeyGivesEmptyTextAndIsNotInserted)
{
    OEMTextManager* manager = OEMTextManager::instance();
    EXPECT_TRUE(manager->value(QStringLiteral("ProductName")).isEmpty());
    EXPECT_TRUE(manager->value(QStringLiteral("ProductName")).isNull());
    /* The lookup added nothing: the table is still empty. */
    EXPECT_FALSE(manager->isLoaded());
}

TEST_F(OEMTextManagerTest, AssignedTableFillsTheInstance)
{
    *OEMTextManager::instance() = branded();
    OEMTextManager* manager = OEMTextManager::instance();
    EXPECT_TRUE(manager->isLoaded());
    EXPECT_EQ(manager->value(QStringLiteral("ProductName")), QStringLiteral("Plant Vision"));
    EXPECT_EQ(manager->value(QStringLiteral("Vendor")), QStringLiteral("Acme Controls"));
    EXPECT_TRUE(manager->value(QStringLiteral("productname")).isEmpty());
}

TEST_F(OEMTextManagerTest, CopiesCarryTheSameTexts)
{
    const OEMTextManager original = branded();
    const OEMTextManager copy(original);
    OEMTextManager assigned;
    assigned = original;
    EXPECT_EQ(copy.value(QStringLiteral("Vendor")), QStringLiteral("Acme Controls"));
    EXPECT_EQ(assigned.value(QStringLiteral("ProductName")), QStringLiteral("Plant Vision"));
    /* Replacing the instance's table leaves the copies as they were. */
    *OEMTextManager::instance() = OEMTextManager();
    EXPECT_TRUE(copy.isLoaded());
}

TEST_F(OEMTextManagerTest, ThisBuildIsNoOemProduct)
{
    EXPECT_FALSE(Morvane::isOEMProduct());
}
