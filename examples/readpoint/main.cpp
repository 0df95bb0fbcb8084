/*
 * readpoint: the smallest program on MVShared. It starts the embedded
 * runtime server, loads a plant (MVPlant), resolves one point name to its id
 * and reads the point's record, the way every operator application begins.
 *
 *   readpoint <plant.json> <point name>
 */
#include <MVPlant/Plant.h>
#include <MVShared/MVShared.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: readpoint <plant.json> <point name>\n");
        return 2;
    }
    std::printf("MVShared %s\n", qPrintable(Morvane::libraryVersion()));
    if (int rc = DravoPlus::ConnectMid(nullptr)) {
        std::fprintf(stderr, "cannot connect: error %d\n", rc);
        return 1;
    }
    std::string error;
    if (MVPlant::LoadPlant(argv[1], nullptr, &error) != DRAVO_OK) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    DravoData index;
    if (DravoPlus::GetDataPoint(argv[2], index, nullptr, nullptr) != DRAVO_OK) {
        std::fprintf(stderr, "no point named %s\n", argv[2]);
        return 1;
    }
    const int id = index.GetSignedIntValue("id");
    const char* type = MVPlant::isTextId(id) ? "TEXT" : MVPlant::isAnalogId(id) ? "ANALOG" : "STATUS";
    const std::string name = type + std::to_string(id);
    DravoData point;
    if (DravoPlus::GetDataPoint(name.c_str(), point, nullptr, nullptr) != DRAVO_OK) {
        std::fprintf(stderr, "point %s has no record %s\n", argv[2], name.c_str());
        return 1;
    }
    std::string fullname;
    point.GetValue("fullname", fullname);
    std::printf("%s id %d record %s type %s", fullname.c_str(), id, point.GetDataName(), point.GetTypeName());
    if (std::strcmp(type, "ANALOG") == 0)
        std::printf(" value %g\n", point.GetDoubleValue("lastvalue"));
    else if (std::strcmp(type, "STATUS") == 0)
        std::printf(" state %d\n", point.GetSignedIntValue("lastvalue"));
    else
        std::printf("\n");
    return 0;
}
