#include "Support/SerialExecutor.h"

SerialExecutor::SerialExecutor()
{
    pool_.setMaxThreadCount(1);
    pool_.setExpiryTimeout(-1);
}

SerialExecutor::~SerialExecutor()
{
    pool_.clear();
    pool_.waitForDone();
}
