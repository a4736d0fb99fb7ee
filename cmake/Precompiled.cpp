// Empty source of the target with the precompiled headers of the project (VantoraCompile.cmake).
