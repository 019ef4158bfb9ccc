// Prints the name of the driver, taken from its default parameters.
#include <korvalent_dx7.h>

#include <cstdio>

int main() {
    QString parameters;
    intf_getDriverParameter(parameters);
    std::puts(parameters.section(QLatin1Char(','), 9, 9).toLatin1().constData());
}
