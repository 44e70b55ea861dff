import java.io.ByteArrayOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.MessageDigest;
import java.security.PrivateKey;
import java.security.SecureRandom;
import java.security.Security;
import java.security.cert.X509Certificate;
import java.util.Arrays;
import java.util.Collection;
import java.util.List;
import org.bouncycastle.asn1.ASN1Encodable;
import org.bouncycastle.asn1.ASN1ObjectIdentifier;
import org.bouncycastle.asn1.ASN1Sequence;
import org.bouncycastle.asn1.DEROctetString;
import org.bouncycastle.asn1.cms.Attribute;
import org.bouncycastle.asn1.cms.ContentInfo;
import org.bouncycastle.asn1.cryptopro.CryptoProObjectIdentifiers;
import org.bouncycastle.asn1.esf.CompleteRevocationRefs;
import org.bouncycastle.asn1.esf.CrlOcspRef;
import org.bouncycastle.asn1.esf.CrlValidatedID;
import org.bouncycastle.asn1.esf.OtherHash;
import org.bouncycastle.asn1.esf.RevocationValues;
import org.bouncycastle.asn1.ess.OtherCertID;
import org.bouncycastle.asn1.pkcs.PrivateKeyInfo;
import org.bouncycastle.asn1.rosstandart.RosstandartObjectIdentifiers;
import org.bouncycastle.asn1.x509.AlgorithmIdentifier;
import org.bouncycastle.asn1.x509.SubjectPublicKeyInfo;
import org.bouncycastle.cert.X509CertificateHolder;
import org.bouncycastle.cert.jcajce.JcaX509CertificateConverter;
import org.bouncycastle.cms.CMSAlgorithm;
import org.bouncycastle.cms.CMSEnvelopedData;
import org.bouncycastle.cms.CMSEnvelopedDataGenerator;
import org.bouncycastle.cms.CMSProcessableByteArray;
import org.bouncycastle.cms.CMSSignedData;
import org.bouncycastle.cms.CMSSignedDataGenerator;
import org.bouncycastle.cms.KeyTransRecipientId;
import org.bouncycastle.cms.RecipientInformation;
import org.bouncycastle.cms.SignerInformation;
import org.bouncycastle.cms.jcajce.JcaSimpleSignerInfoGeneratorBuilder;
import org.bouncycastle.cms.jcajce.JcaSimpleSignerInfoVerifierBuilder;
import org.bouncycastle.cms.jcajce.JceCMSContentEncryptorBuilder;
import org.bouncycastle.cms.jcajce.JceKeyAgreeRecipientInfoGenerator;
import org.bouncycastle.cms.jcajce.JceKeyTransEnvelopedRecipient;
import org.bouncycastle.cms.jcajce.JceKeyTransRecipientInfoGenerator;
import org.bouncycastle.jce.provider.BouncyCastleProvider;
import org.bouncycastle.openssl.PEMParser;
import org.bouncycastle.openssl.jcajce.JcaPEMKeyConverter;
import org.bouncycastle.tsp.TimeStampToken;

/**
 * Does with Bouncy Castle what each line of a file asks for: a task, a name, and the task's files, with
 * tabs between. Prints a line for each: the name, a tab, and "good" or what went wrong.
 */
public final class BouncyCastle {
  private static final String PROVIDER = "BC";
  private static final String SMIME_ATTRIBUTES = "1.2.840.113549.1.9.16.2.";
  private static final String SIGNATURE_STAMP = SMIME_ATTRIBUTES + "14";
  private static final String CERTIFICATE_REFS = SMIME_ATTRIBUTES + "21";
  private static final String REVOCATION_REFS = SMIME_ATTRIBUTES + "22";
  private static final String CERTIFICATE_VALUES = SMIME_ATTRIBUTES + "23";
  private static final String REVOCATION_VALUES = SMIME_ATTRIBUTES + "24";
  private static final String CADES_C_STAMP = SMIME_ATTRIBUTES + "25";

  private BouncyCastle() {}

  public static void main(String[] arguments) throws Exception {
    Security.addProvider(new BouncyCastleProvider());
    for (String line : Files.readAllLines(Path.of(arguments[0]))) {
      String[] words = line.split("\t");
      System.out.println(words[1] + "\t" + outcome(words));
    }
  }

  private static String outcome(String[] words) {
    try {
      switch (words[0]) {
        case "open":
          return open(words[2], words[3], words[4], words[5]);
        case "verify":
          return verify(words[2], words[3], Integer.parseInt(words[4]));
        case "verifyDetached":
          return verifyDetached(words[2], words[3], Integer.parseInt(words[4]));
        case "cades":
          return cades(words[2], Integer.parseInt(words[3]));
        case "encrypt":
          return encrypt(words[2], words[3], words[4], "");
        case "agree":
          return encrypt(words[2], words[3], words[4], words[5]);
        case "sign":
          return sign(words[2], words[3], words[4], words[5], words[6]);
        default:
          return "unknown task";
      }
    } catch (Exception | LinkageError failure) {
      return failure.toString().replaceAll("\\s+", " ");
    }
  }

  /** Decrypts a message as the recipient with this key and certificate. */
  private static String open(String message, String key, String certificate, String content)
      throws Exception {
    X509CertificateHolder holder = certificate(certificate);
    KeyTransRecipientId id = new KeyTransRecipientId(holder.getIssuer(), holder.getSerialNumber());
    RecipientInformation recipient =
        new CMSEnvelopedData(read(message)).getRecipientInfos().get(id);
    if (recipient == null) {
      return "no such recipient";
    }
    byte[] opened =
        recipient.getContent(new JceKeyTransEnvelopedRecipient(key(key)).setProvider(PROVIDER));
    return Arrays.equals(opened, read(content)) ? "good" : "other content";
  }

  private static String verify(String message, String content, int signers) throws Exception {
    CMSSignedData data = new CMSSignedData(read(message));
    byte[] inside = (byte[]) data.getSignedContent().getContent();
    return Arrays.equals(inside, read(content)) ? verify(data, signers) : "other content";
  }

  private static String verifyDetached(String message, String content, int signers)
      throws Exception {
    return verify(
        new CMSSignedData(new CMSProcessableByteArray(read(content)), read(message)), signers);
  }

  /** Verifies all signers with the certificates inside the message. */
  private static String verify(CMSSignedData data, int signers) throws Exception {
    if (data.getSignerInfos().size() != signers) {
      return data.getSignerInfos().size() + " signers";
    }
    for (SignerInformation signer : data.getSignerInfos()) {
      @SuppressWarnings("unchecked")
      Collection<X509CertificateHolder> found = data.getCertificates().getMatches(signer.getSID());
      if (found.size() != 1) {
        return found.size() + " certificates of a signer";
      }
      JcaSimpleSignerInfoVerifierBuilder builder =
          new JcaSimpleSignerInfoVerifierBuilder().setProvider(PROVIDER);
      if (!signer.verify(builder.build(found.iterator().next()))) {
        return "wrong signature";
      }
    }
    return "good";
  }

  /** Verifies the stamps of all signers of X Long type 1, and that what they refer to is there. */
  private static String cades(String message, int signers) throws Exception {
    CMSSignedData data = new CMSSignedData(read(message));
    String outcome = verify(data, signers);
    for (SignerInformation signer : data.getSignerInfos()) {
      outcome = outcome.equals("good") ? stamps(signer) : outcome;
      outcome = outcome.equals("good") ? references(signer) : outcome;
    }
    return outcome;
  }

  private static Attribute unsigned(SignerInformation signer, String oid) {
    Attribute found = signer.getUnsignedAttributes().get(new ASN1ObjectIdentifier(oid));
    if (found == null || found.getAttributeValues().length != 1) {
      throw new IllegalArgumentException("not one value of " + oid);
    }
    return found;
  }

  private static ASN1Encodable value(SignerInformation signer, String oid) {
    return unsigned(signer, oid).getAttributeValues()[0];
  }

  /** RFC 5126, 6.1.1 and 6.3.5: what is stamped of an attribute is its fields, one after the other. */
  private static String stamps(SignerInformation signer) throws Exception {
    ByteArrayOutputStream covered = new ByteArrayOutputStream();
    covered.write(signer.getSignature());
    String first = stamp(value(signer, SIGNATURE_STAMP), covered.toByteArray());
    for (String oid : new String[] {SIGNATURE_STAMP, CERTIFICATE_REFS, REVOCATION_REFS}) {
      Attribute attribute = unsigned(signer, oid);
      covered.write(attribute.getAttrType().getEncoded());
      covered.write(attribute.getAttrValues().getEncoded());
    }
    String last = stamp(value(signer, CADES_C_STAMP), covered.toByteArray());
    return first.equals("good") ? last : first;
  }

  private static String stamp(ASN1Encodable encoded, byte[] covered) throws Exception {
    TimeStampToken token = new TimeStampToken(ContentInfo.getInstance(encoded));
    String hash = token.getTimeStampInfo().getMessageImprintAlgOID().getId();
    byte[] imprint = MessageDigest.getInstance(hash, PROVIDER).digest(covered);
    if (!Arrays.equals(imprint, token.getTimeStampInfo().getMessageImprintDigest())) {
      return "a stamp over something else";
    }
    @SuppressWarnings("unchecked")
    Collection<X509CertificateHolder> found = token.getCertificates().getMatches(token.getSID());
    if (found.size() != 1) {
      return found.size() + " certificates of a stamp";
    }
    token.validate(
        new JcaSimpleSignerInfoVerifierBuilder()
            .setProvider(PROVIDER)
            .build(found.iterator().next()));
    return "good";
  }

  /** Whatever is referred to by its hash is among the values, and nothing but the signer is beside it. */
  private static String references(SignerInformation signer) throws Exception {
    List<ASN1Encodable> certificates = parts(value(signer, CERTIFICATE_VALUES));
    RevocationValues revocation = RevocationValues.getInstance(value(signer, REVOCATION_VALUES));
    for (ASN1Encodable reference : parts(value(signer, CERTIFICATE_REFS))) {
      OtherCertID id = OtherCertID.getInstance(reference);
      if (!holds(certificates, id.getAlgorithmHash(), id.getCertHash())) {
        return "a certificate that is not there";
      }
    }
    int lists = 0;
    for (CrlOcspRef reference :
        CompleteRevocationRefs.getInstance(value(signer, REVOCATION_REFS)).getCrlOcspRefs()) {
      if (reference.getCrlids() == null) {
        continue; // of the root nobody is asked
      }
      for (CrlValidatedID id : reference.getCrlids().getCrls()) {
        OtherHash hash = id.getCrlHash();
        if (!holds(
            Arrays.asList(revocation.getCrlVals()),
            hash.getHashAlgorithm(),
            hash.getHashValue())) {
          return "a list that is not there";
        }
        lists++;
      }
    }
    return lists > 0 ? "good" : "no reference to a list";
  }

  private static List<ASN1Encodable> parts(ASN1Encodable sequence) {
    return Arrays.asList(ASN1Sequence.getInstance(sequence).toArray());
  }

  private static boolean holds(
      List<? extends ASN1Encodable> values, AlgorithmIdentifier hash, byte[] wanted)
      throws Exception {
    MessageDigest digest = MessageDigest.getInstance(hash.getAlgorithm().getId(), PROVIDER);
    for (ASN1Encodable value : values) {
      if (Arrays.equals(digest.digest(value.toASN1Primitive().getEncoded("DER")), wanted)) {
        return true;
      }
    }
    return false;
  }

  /** Encrypts content by key transport, or by key agreement with a key pair of the other's kind. */
  private static String encrypt(String made, String content, String certificate, String sender)
      throws Exception {
    CMSEnvelopedDataGenerator generator = new CMSEnvelopedDataGenerator();
    X509Certificate recipient = javaCertificate(certificate);
    if (sender.isEmpty()) {
      generator.addRecipientInfoGenerator(
          new JceKeyTransRecipientInfoGenerator(recipient).setProvider(PROVIDER));
    } else {
      generator.addRecipientInfoGenerator(agreement(recipient, sender));
    }
    CMSEnvelopedData data =
        generator.generate(
            new CMSProcessableByteArray(read(content)),
            new JceCMSContentEncryptorBuilder(CMSAlgorithm.GOST28147_GCFB)
                .setProvider(PROVIDER)
                .build());
    return write(made, data.getEncoded());
  }

  private static JceKeyAgreeRecipientInfoGenerator agreement(
      X509Certificate recipient, String sender) throws Exception {
    ASN1ObjectIdentifier algorithm =
        SubjectPublicKeyInfo.getInstance(recipient.getPublicKey().getEncoded())
            .getAlgorithm()
            .getAlgorithm();
    ASN1ObjectIdentifier agreement =
        algorithm.equals(CryptoProObjectIdentifiers.gostR3410_2001)
            ? CryptoProObjectIdentifiers.gostR3410_2001_CryptoPro_ESDH
            : algorithm.equals(RosstandartObjectIdentifiers.id_tc26_gost_3410_12_256)
                ? RosstandartObjectIdentifiers.id_tc26_agreement_gost_3410_12_256
                : RosstandartObjectIdentifiers.id_tc26_agreement_gost_3410_12_512;
    return new JceKeyAgreeRecipientInfoGenerator(
            agreement,
            key(sender + ".key"),
            javaCertificate(sender + ".pem").getPublicKey(),
            CryptoProObjectIdentifiers.id_Gost28147_89_CryptoPro_KeyWrap)
        .setUserKeyingMaterial(SecureRandom.getSeed(8))
        .addRecipient(recipient)
        .setProvider(PROVIDER);
  }

  /** Signs content with signed attributes; the certificate goes into the message. */
  private static String sign(
      String made, String content, String key, String certificate, String algorithm)
      throws Exception {
    X509CertificateHolder holder = certificate(certificate);
    CMSSignedDataGenerator generator = new CMSSignedDataGenerator();
    generator.addSignerInfoGenerator(
        new JcaSimpleSignerInfoGeneratorBuilder()
            .setProvider(PROVIDER)
            .build(algorithm, key(key), holder));
    generator.addCertificate(holder);
    CMSSignedData data = generator.generate(new CMSProcessableByteArray(read(content)), true);
    return write(made, data.getEncoded());
  }

  private static byte[] read(String file) throws Exception {
    return Files.readAllBytes(Path.of(file));
  }

  private static String write(String file, byte[] octets) throws Exception {
    Files.write(Path.of(file), octets);
    return "good";
  }

  private static Object pem(String file) throws Exception {
    try (PEMParser parser = new PEMParser(Files.newBufferedReader(Path.of(file)))) {
      return parser.readObject();
    }
  }

  private static X509CertificateHolder certificate(String file) throws Exception {
    return (X509CertificateHolder) pem(file);
  }

  private static X509Certificate javaCertificate(String file) throws Exception {
    return new JcaX509CertificateConverter()
        .setProvider(PROVIDER)
        .getCertificate(certificate(file));
  }

  /** The engine writes a GOST key's octets bare; Bouncy Castle wants an OCTET STRING around them. */
  private static PrivateKey key(String file) throws Exception {
    PrivateKeyInfo info = (PrivateKeyInfo) pem(file);
    byte[] octets = info.getPrivateKey().getOctets();
    if (octets.length == 32) {
      info = new PrivateKeyInfo(info.getPrivateKeyAlgorithm(), new DEROctetString(octets));
    }
    return new JcaPEMKeyConverter().setProvider(PROVIDER).getPrivateKey(info);
  }
}
