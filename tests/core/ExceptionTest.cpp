// Failures: what a user reads when a plug-in, a pipe or a file can't be had is the message of one of these.

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <typeinfo>

using namespace base::core;

namespace {

template <class Type>
void expectCloneOfItsOwnType(const Type& original) {
    const Ref<Exception> copy(original.clone());
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.get(), &original);
    const Exception& clone = *copy;
    EXPECT_STREQ(typeid(clone).name(), typeid(Type).name());
    // The message is shared, not only equal.
    EXPECT_EQ(clone.getMessage().characters(), original.getMessage().characters());
    EXPECT_TRUE(clone.getCause() == original.getCause());
}

TEST(ExceptionTest, ACloneOfAnEndOfStreamIsAgainAnEndOfStream) {
    const EOSException original;
    const Ref<Exception> clone(original.clone());
    ASSERT_NE(dynamic_cast<EOSException*>(clone.get()), nullptr);
    EXPECT_EQ(clone->getMessage().toStdString(), "End of stream");
}

TEST(ExceptionTest, ACloneHasTheDynamicTypeAndSharesMessageAndCause) {
    const Ref<Exception> cause(new IOException("The cause"));
    IOException io("No such pipe");
    io.setCause(cause);
    expectCloneOfItsOwnType(io);
    EOSException end;
    end.setCause(cause);
    expectCloneOfItsOwnType(end);
    ProcessException process("No such program");
    process.setCause(cause);
    expectCloneOfItsOwnType(process);
    NumberFormatException number("twelve");
    number.setCause(cause);
    expectCloneOfItsOwnType(number);
}

TEST(ExceptionTest, ACloneOfANumberFormatFailureKeepsTheText) {
    const NumberFormatException original("12a");
    EXPECT_EQ(original.getMessage().toStdString(), "Invalid number: 12a");
    const Ref<Exception> clone(original.clone());
    const auto* number = dynamic_cast<const NumberFormatException*>(clone.get());
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number->getText().toStdString(), "12a");
    EXPECT_EQ(number->getText().characters(), original.getText().characters());
}

TEST(ExceptionTest, AFailureThatIsMadeFromAMessageHasNoCause) {
    const IOException exception("No such pipe");
    EXPECT_FALSE(exception.getCause());
    EXPECT_EQ(exception.getMessage().toStdString(), "No such pipe");
}

TEST(ExceptionTest, AMessageMayBeEmpty) {
    const ProcessException exception("");
    EXPECT_TRUE(exception.getMessage().isEmpty());
}

TEST(ExceptionTest, WhoCatchesStreamFailuresCatchesTheEndOfStreamToo) {
    try {
        throw EOSException();
    } catch (const IOException& exception) {
        EXPECT_NE(dynamic_cast<const EOSException*>(&exception), nullptr);
        return;
    }
}

TEST(ExceptionTest, TheOtherFailuresAreNoStreamFailures) {
    const NumberFormatException number("x");
    const ProcessException process("x");
    EXPECT_EQ(dynamic_cast<const IOException*>(static_cast<const Exception*>(&number)), nullptr);
    EXPECT_EQ(dynamic_cast<const IOException*>(static_cast<const Exception*>(&process)), nullptr);
}

TEST(ExceptionTest, AFailureThatIsKeptByACloneOutlivesItsCatchBlock) {
    Ref<Exception> kept;
    try {
        throw NumberFormatException("seven");
    } catch (const Exception& exception) {
        kept = exception.clone();
    }
    EXPECT_EQ(kept->getMessage().toStdString(), "Invalid number: seven");
}

TEST(ExceptionTest, LastErrorMessageIsTheTextOfErrno) {
    errno = ENOENT;
    EXPECT_EQ(lastErrorMessage().toStdString(), "No such file or directory");
    errno = EPIPE;
    EXPECT_EQ(lastErrorMessage().toStdString(), "Broken pipe");
}

TEST(ExceptionTest, LastErrorMessageHasWordsForAnUnknownErrno) {
    errno = 99999;
    EXPECT_EQ(lastErrorMessage().toStdString(), "Unknown error 99999");
}

} // namespace
