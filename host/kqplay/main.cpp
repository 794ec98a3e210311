#include "Doctor.h"
#include "Options.h"
#include "Session.h"

int main(int argc, char** argv) {
    kqplay::Options options;
    if (const auto status = kqplay::ParseOptions(argc, argv, options)) {
        return *status;
    }
    if (options.doctor) {
        return kqplay::RunDoctor(options);
    }
    kqplay::Session session(options);
    return session.Run();
}
