// consumer.cpp - includes the umbrella header, starts the library, prints its
// version and builds a small tree.
#include <kx/svg/Svg.h>

#include <iostream>
#include <memory>

int main()
{
    kx::svg::initializeKxSvg();
    std::cout << "version " << kxSvg::Version::GetDescStringMajorMinorReleaseRevisionDate() << '\n';

    kx::svg::Document doc;
    auto group = std::make_shared<kx::svg::Node>();
    group->addChild(std::make_shared<kx::svg::Circle>(Wm4::Vector2<float>(1, 2), 3.0f), true);
    doc.addChild(group, true);
    const kx::svg::Document copy(doc);
    const bool managerReady = kx::svg::kxSvgIOManager::get() != nullptr;
    std::cout << "children " << copy.getChildren().size() << " manager " << (managerReady ? "yes" : "no") << '\n';

    kx::svg::terminateKxSvg();
    return managerReady && copy.getChildren().size() == 1 ? 0 : 1;
}
