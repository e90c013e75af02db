# SPDX-License-Identifier: MIT
# The bill of materials of the library, as SPDX 2.3 in JSON: what is compiled in or linked, with the
# versions that this build has found. The same versions and SOURCE_DATE_EPOCH give the same bytes.

# Appends a package, and its relationship to another element.
function(vorn_add_to_sbom name version terms element relationship)
  string(APPEND sbom_packages "${sbom_separator}
    {
      \"SPDXID\": \"SPDXRef-${name}\",
      \"name\": \"${name}\",
      \"versionInfo\": \"${version}\",
      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseDeclared\": \"${terms}\"
    }")
  string(APPEND sbom_relationships "${sbom_separator}
    {
      \"spdxElementId\": \"${element}\",
      \"relationshipType\": \"${relationship}\",
      \"relatedSpdxElement\": \"SPDXRef-${name}\"
    }")
  set(sbom_packages "${sbom_packages}" PARENT_SCOPE)
  set(sbom_relationships "${sbom_relationships}" PARENT_SCOPE)
  set(sbom_separator "," PARENT_SCOPE)
endfunction()

# vorn_write_sbom(FILE)
function(vorn_write_sbom file)
  set(library SPDXRef-VornBases)
  vorn_add_to_sbom(VornBases ${PROJECT_VERSION} MIT SPDXRef-DOCUMENT DESCRIBES)
  vorn_add_to_sbom(libxml2 "${LIBXML2_VERSION_STRING}" MIT ${library} DYNAMIC_LINK)
  vorn_add_to_sbom(Boost "${Boost_VERSION}" BSL-1.0 ${library} STATIC_LINK)
  if(VORN_BASES_KERNELS AND VORN_HIGHWAY_INCLUDE)
    file(STRINGS ${VORN_HIGHWAY_INCLUDE}/hwy/highway.h version
      REGEX "^#define HWY_(MAJOR|MINOR|PATCH) [0-9]+")
    list(TRANSFORM version REPLACE "[^0-9]" "")
    list(JOIN version "." version)
    vorn_add_to_sbom(Highway "${version}" Apache-2.0 ${library} STATIC_LINK)
  endif()
  string(UUID id NAMESPACE cab3906a-26a8-4953-b445-b6319e6c4b7a NAME "${sbom_packages}" TYPE SHA1)
  string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
  file(WRITE ${file} "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"VornBases-${PROJECT_VERSION}\",
  \"documentNamespace\": \"urn:uuid:${id}\",
  \"creationInfo\": {
    \"created\": \"${created}\",
    \"creators\": [\"Tool: cmake/Sbom.cmake\"]
  },
  \"packages\": [${sbom_packages}
  ],
  \"relationships\": [${sbom_relationships}
  ]
}
")
endfunction()
